/// @file
/// Small questions about linear PCM stream formats, and the formats that the platform itself uses.
#pragma once

#include "KXFW/Platform/Foundation/AudioTypes.h"

namespace kx
{

inline constexpr double kCanonicalSampleRate = 44100.0; ///< frames per second between units, whatever the device
inline constexpr uint32_t kMaximumChannels = 64;
inline constexpr double kMinimumSampleRate = 1000.0;
inline constexpr double kMaximumSampleRate = 768000.0;

[[nodiscard]] constexpr bool isNonInterleaved(const AudioStreamBasicDescription &format) noexcept
{
    return (format.mFormatFlags & kAudioFormatFlagIsNonInterleaved) != 0;
}

/// How many buffers a buffer list of this format has.
[[nodiscard]] constexpr uint32_t bufferCount(const AudioStreamBasicDescription &format) noexcept
{
    return isNonInterleaved(format) ? format.mChannelsPerFrame : 1;
}

[[nodiscard]] constexpr uint32_t channelsPerBuffer(const AudioStreamBasicDescription &format) noexcept
{
    return isNonInterleaved(format) ? 1 : format.mChannelsPerFrame;
}

/// 32-bit native float, one buffer a channel: the format between units.
[[nodiscard]] constexpr AudioStreamBasicDescription planarFloat(double sampleRate, uint32_t channels) noexcept
{
    return {sampleRate,
            kAudioFormatLinearPCM,
            kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked | kAudioFormatFlagIsNonInterleaved,
            4,
            1,
            4,
            channels,
            32,
            0};
}

/// Packed interleaved samples of `bits` bits, little-endian unless `flags` says otherwise.
[[nodiscard]] constexpr AudioStreamBasicDescription interleaved(double sampleRate, uint32_t channels, uint32_t bits,
                                                                uint32_t flags) noexcept
{
    const uint32_t bytes = bits / 8 * channels;
    return {sampleRate, kAudioFormatLinearPCM, flags | kAudioFormatFlagIsPacked, bytes, 1, bytes, channels, bits, 0};
}

[[nodiscard]] constexpr bool sameFormat(const AudioStreamBasicDescription &a,
                                        const AudioStreamBasicDescription &b) noexcept
{
    return a.mSampleRate == b.mSampleRate && a.mFormatID == b.mFormatID && a.mFormatFlags == b.mFormatFlags &&
           a.mBytesPerFrame == b.mBytesPerFrame && a.mChannelsPerFrame == b.mChannelsPerFrame &&
           a.mBitsPerChannel == b.mBitsPerChannel;
}

} // namespace kx
