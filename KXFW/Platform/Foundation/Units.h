/// @file
/// The one place where frames of one rate become frames of another, with the rounding in the name.
#pragma once

#include <cstdint>

namespace kx
{

/// ceil(frame x to / from) for whole rates (more than 0, below 2^20) and frames from 0 to 2^42, exact. [any]
[[nodiscard]] constexpr int64_t scaledUp(int64_t frame, int64_t to, int64_t from) noexcept
{
    return frame / from * to + (frame % from * to + from - 1) / from;
}

/// trunc(frame x to / from), under the same conditions, exact. [any]
[[nodiscard]] constexpr int64_t scaledDown(int64_t frame, int64_t to, int64_t from) noexcept
{
    return frame / from * to + frame % from * to / from;
}

} // namespace kx
