/// @file
/// What the file service asks of the formats, layouts and buffer lists that an application hands in.
#pragma once

#include "KXFW/Platform/Foundation/AudioTypes.h"

#include <cstddef>

namespace kx
{

/// noErr for linear PCM that the conversions take. [any]
[[nodiscard]] OSStatus checkClientFormat(const AudioStreamBasicDescription &format) noexcept;

/// noErr if the `size` bytes of channel layout at `data` may stand for `channels` channels. [any]
[[nodiscard]] OSStatus checkClientLayout(const void *data, uint32_t size, uint32_t channels) noexcept;

/// noErr if `list` has the buffers of `format`, each with room for `frames` frames. [any]
[[nodiscard]] OSStatus checkBuffers(const AudioStreamBasicDescription &format, const AudioBufferList *list,
                                    uint32_t frames) noexcept;

/// Frame `frame` of buffer `buffer`. [any]
[[nodiscard]] inline std::byte *frameAt(const AudioStreamBasicDescription &format, const AudioBufferList &list,
                                        uint32_t buffer, uint32_t frame) noexcept
{
    return static_cast<std::byte *>(list.mBuffers[buffer].mData) + std::size_t{frame} * format.mBytesPerFrame;
}

/// True for packed interleaved 16-bit signed integers, in either byte order. [any]
[[nodiscard]] bool isInterleaved16(const AudioStreamBasicDescription &format) noexcept;

} // namespace kx
