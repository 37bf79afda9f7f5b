#pragma once

#include <cstdint>
#include <ctime>

namespace kx
{

/// Nanoseconds of the system's monotonic clock, as in the host times of time stamps. [any] [render]
[[nodiscard]] inline uint64_t monotonicTime() noexcept
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1'000'000'000U + static_cast<uint64_t>(now.tv_nsec);
}

} // namespace kx
