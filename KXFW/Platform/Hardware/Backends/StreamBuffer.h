#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>

namespace kx
{

inline constexpr uint32_t kBufferedSlices = 4;
inline constexpr double kLeastBufferSeconds = 0.04; ///< what a loaded machine needs, however small the slices are
inline constexpr std::chrono::seconds kLongestWait{1};

/// How many frames a stream that asks for `sliceFrames` at a time holds between writer and device.
[[nodiscard]] inline uint32_t bufferFrames(double sampleRate, uint32_t sliceFrames) noexcept
{
    return std::max(kBufferedSlices * sliceFrames, static_cast<uint32_t>(sampleRate * kLeastBufferSeconds));
}

} // namespace kx
