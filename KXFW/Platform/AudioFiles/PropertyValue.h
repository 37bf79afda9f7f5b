#pragma once

#include "KXFW/Platform/Foundation/Status.h"

#include <cstdint>
#include <cstring>

namespace kx
{

/// Copies the value of a property out to `data`, which has room for `*size` bytes, and gives its size in return.
inline OSStatus giveValue(const void *value, uint32_t bytes, uint32_t *size, void *data)
{
    if (*size < bytes)
        return kExtAudioFileError_InvalidPropertySize;
    std::memcpy(data, value, bytes);
    *size = bytes;
    return noErr;
}

} // namespace kx
