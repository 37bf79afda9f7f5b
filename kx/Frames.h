#pragma once

#include <chrono>
#include <cstdint>
#include <ratio>

namespace kx
{

/// The rate of all sound behind this interface, whatever a file or a device has: frames a second.
inline constexpr std::int64_t kSampleRate = 44100;

/// Places and lengths in a file, to the frame. A duration like those of the standard library: it compares and adds with
/// them, and `std::chrono::duration<double>(frames).count()` is its seconds.
using Frames = std::chrono::duration<std::int64_t, std::ratio<1, kSampleRate>>;

/// The frame nearest to a time: `kx::toFrames(1500ms)`, `kx::toFrames(std::chrono::duration<double>(1.5))`. Times
/// beyond 200 days either way are taken as these, and what is not a number as 0.
template <class Rep, class Period> constexpr Frames toFrames(const std::chrono::duration<Rep, Period> &time)
{
    constexpr Frames kMost = std::chrono::days(200); // nanoseconds times 44,100 stay in range
    constexpr auto kLimit = static_cast<double>(kMost.count());
    const double about = std::chrono::duration<double, Frames::period>(time).count();
    if (about >= kLimit)
        return kMost;
    if (about <= -kLimit)
        return -kMost;
    return about > -kLimit ? std::chrono::round<Frames>(time) : Frames(0);
}

/// A part of a file.
struct Range {
    Frames start{0}; ///< the first frame that belongs to it
    Frames end{0};   ///< the first one that does not

    [[nodiscard]] constexpr Frames length() const noexcept { return end > start ? end - start : Frames(0); }
    constexpr bool operator==(const Range &) const = default;
};

} // namespace kx
