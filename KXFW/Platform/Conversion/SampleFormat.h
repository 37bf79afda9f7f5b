/// @file
/// Linear PCM in memory to and from planar 32-bit float. Integers and floats convert by 2^(bits-1) both ways; floats
/// are rounded to nearest (ties to even) and clipped, never wrapped; what is not a number becomes 0. No dither.
#pragma once

#include "KXFW/Platform/Foundation/AudioTypes.h"

#include <cstddef>
#include <cstdint>

namespace kx
{

/// True for the formats that the functions below take: linear PCM of 8 (signed or not), 16, 24 or 32 bits or 32- or
/// 64-bit float, either byte order, packed, interleaved or not, 1 to kMaximumChannels channels, byte counts that fit
/// the rest, a rate within the limits. [any]
[[nodiscard]] bool isConvertible(const AudioStreamBasicDescription &format) noexcept;

/// Frames `first` to `first + frames` of `in` (laid out as `format`, which is convertible) as floats, one array a
/// channel, written from index 0 of each. Does not allocate. [any] [render]
void toPlanarFloat(const AudioStreamBasicDescription &format, const AudioBufferList &in, uint32_t first,
                   uint32_t frames, float *const *out) noexcept;

/// The other way: floats from index 0 of each array into frames `first` to `first + frames` of `out`. The list's byte
/// sizes are not touched. Does not allocate. [any] [render]
void fromPlanarFloat(const AudioStreamBasicDescription &format, const float *const *in, uint32_t frames,
                     AudioBufferList &out, uint32_t first) noexcept;

/// `count` 16-bit samples with their bytes exchanged; `in` may equal `out`. [any] [render]
void swapBytes16(const void *in, void *out, std::size_t count) noexcept;

/// `frames` interleaved native floats of `channels` channels as one array a channel. [any] [render]
void deinterleave(const float *in, uint32_t channels, uint32_t frames, float *const *out) noexcept;

/// `frames` interleaved native 16-bit samples of `channels` channels as one float array a channel. [any] [render]
void deinterleave(const int16_t *in, uint32_t channels, uint32_t frames, float *const *out) noexcept;

} // namespace kx
