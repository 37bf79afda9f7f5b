#pragma once

#include <algorithm>
#include <chrono>
#include <utility>

namespace kx
{

/// How long to wait from one attempt to the next: longer each time, up to a limit.
class Backoff
{
public:
    using Time = std::chrono::milliseconds;

    /// From `first` on longer by a `growth`-th each time, up to `last`. [any]
    constexpr Backoff(Time first, Time last, int growth) noexcept
        : first_(first), last_(last), growth_(growth), next_(first)
    {
    }

    constexpr Time next() noexcept { return std::exchange(next_, std::min(next_ + next_ / growth_, last_)); } ///< [any]
    constexpr void reset() noexcept { next_ = first_; } ///< The attempt has succeeded. [any]

private:
    Time first_;
    Time last_;
    int growth_;
    Time next_;
};

} // namespace kx
