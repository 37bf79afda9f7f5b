#pragma once

#include "KXFW/Platform/Conversion/SincInterpolator.h"

#include <cmath>
#include <cstdint>

namespace kx
{

/// A number of frames in 2^-32: sums of them are exact, in whatever order and grouping.
struct FixedFrames {
    int64_t whole = 0;
    uint32_t fraction = 0;

    static constexpr double kOne = SincInterpolator::kOne;

    /// 2^-32 frames; at most 64. [any] [render]
    [[nodiscard]] static uint64_t stepOf(double frames) noexcept
    {
        return static_cast<uint64_t>(std::llround(frames * kOne));
    }
    /// This place after `count` steps, 2^26 at most. [any] [render]
    [[nodiscard]] FixedFrames after(uint32_t count, uint64_t step) const noexcept
    {
        const uint64_t moved = fraction + count * step;
        return {whole + static_cast<int64_t>(moved >> 32), static_cast<uint32_t>(moved)};
    }
    [[nodiscard]] double value() const noexcept { return static_cast<double>(whole) + fraction / kOne; } ///< [any]
};

} // namespace kx
