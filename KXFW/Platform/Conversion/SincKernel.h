/// @file
/// The inner loop of the interpolator, to be compiled for several instruction sets. It fixes the order of every
/// addition and nothing in it is contracted, so that each set gives the same bits.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace kx
{

/// Eight side by side, in whatever registers there are.
using Lanes [[gnu::vector_size(8 * sizeof(float))]] = float;
constexpr uint32_t kLanes = 8;

[[gnu::always_inline]] inline void load(Lanes &lanes, const float *from) noexcept
{
    std::memcpy(&lanes, from, sizeof lanes);
}

[[gnu::always_inline]] inline float sumOf(const Lanes &lanes) noexcept
{
    return ((lanes[0] + lanes[4]) + (lanes[2] + lanes[6])) + ((lanes[1] + lanes[5]) + (lanes[3] + lanes[7]));
}

/// Two signals at once, with the same weights: `between` of the way from one row of weights to the next.
struct PairRead {
    const float *rows;
    uint32_t rowBits;
    uint32_t taps; ///< whole lanes
    std::array<const float *, 2> planes;
    std::array<float *, 2> out;
};

[[gnu::always_inline]] inline void readPair(const PairRead &pair, uint64_t place, uint64_t step,
                                            uint32_t frames) noexcept
{
    const uint32_t restBits = 32 - pair.rowBits;
    const float unit = 1.0F / static_cast<float>(1U << restBits);
    for (uint32_t i = 0; i < frames; ++i, place += step) {
        const auto part = static_cast<uint32_t>(place);
        const float *const low = pair.rows + std::size_t{part >> restBits} * pair.taps;
        const float between = static_cast<float>(part & ((1U << restBits) - 1)) * unit;
        const auto sample = static_cast<int64_t>(place >> 32) + 1 - static_cast<int64_t>(pair.taps / 2);
        Lanes left{};
        Lanes right{};
        for (uint32_t tap = 0; tap < pair.taps; tap += kLanes) {
            Lanes weights;
            Lanes next;
            Lanes samples;
            load(weights, low + tap);
            load(next, low + pair.taps + tap);
            weights += between * (next - weights);
            load(samples, pair.planes[0] + sample + tap);
            left += samples * weights;
            load(samples, pair.planes[1] + sample + tap);
            right += samples * weights;
        }
        pair.out[0][i] = sumOf(left);
        pair.out[1][i] = sumOf(right);
    }
}

} // namespace kx
