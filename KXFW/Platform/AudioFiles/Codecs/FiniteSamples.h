#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

namespace kx
{

/// Largest magnitude that decoded floats keep: sums and filters over them stay finite.
inline constexpr float kLargestSample = 1e30f;

/// Replaces what is not a number by 0 and bounds the rest, infinities included. [any] [render]
inline void makeFinite(float *samples, std::size_t count) noexcept
{
    constexpr auto limit = std::bit_cast<int32_t>(kLargestSample);
    constexpr int32_t infinity = 0x7F800000;
    int32_t largest = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const int32_t magnitude = std::bit_cast<int32_t>(samples[i]) & 0x7FFFFFFF;
        largest = magnitude > largest ? magnitude : largest;
    }
    if (largest <= limit)
        return;
    for (std::size_t i = 0; i < count; ++i) {
        const int32_t magnitude = std::bit_cast<int32_t>(samples[i]) & 0x7FFFFFFF;
        if (magnitude > infinity)
            samples[i] = 0;
        else if (magnitude > limit)
            samples[i] = samples[i] < 0 ? -kLargestSample : kLargestSample;
    }
}

} // namespace kx
