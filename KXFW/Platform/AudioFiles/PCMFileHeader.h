/// @file
/// The headers of the files that are written: AIFF and WAVE with linear PCM, one block of samples at the end.
#pragma once

#include "KXFW/Platform/AudioFiles/ExtendedAudioFile.h"

#include <cstddef>
#include <vector>

namespace kx
{

/// noErr if files of `type` hold samples of `format`: packed and interleaved; AIFF 8 (signed), 16, 24 and 32-bit
/// big-endian integers; WAVE 8 (unsigned), 16, 24, 32-bit little-endian integers, 32 and 64-bit floats. [any]
[[nodiscard]] OSStatus checkFileFormat(AudioFileTypeID type, const AudioStreamBasicDescription &format) noexcept;

/// The bytes before the samples, of the same number whatever `frames` is. [any]
[[nodiscard]] std::vector<std::byte> fileHeader(AudioFileTypeID type, const AudioStreamBasicDescription &format,
                                                int64_t frames);

/// The largest block of samples, in bytes, that the 32-bit sizes of the header can state; 0 for other types. [any]
[[nodiscard]] int64_t maximumDataBytes(AudioFileTypeID type) noexcept;

} // namespace kx
