#include "KXFW/Platform/AudioFiles/DiskDeadline.h"

#include <atomic>

namespace kx
{

namespace
{

thread_local std::optional<DiskDeadline::Clock::time_point> currentDeadline;
thread_local uint64_t currentNumber = 0;
thread_local int patient = 0;
thread_local int depth = 0;  ///< deadlines that live on this thread
thread_local int counts = 0; ///< at which depth the one that counts was made; 0 for none

std::atomic<uint64_t> deadlines{0};

} // namespace

DiskDeadline::DiskDeadline(std::chrono::milliseconds patience) noexcept
{
    ++depth;
    if (patience == kNone || patient != 0 || currentDeadline)
        return;
    counts = depth;
    currentDeadline = Clock::now() + patience;
    currentNumber = ++deadlines;
}

DiskDeadline::~DiskDeadline()
{
    if (depth-- != counts)
        return;
    counts = 0;
    currentDeadline.reset();
    currentNumber = 0;
}

std::optional<DiskDeadline::Clock::time_point> DiskDeadline::current() noexcept
{
    return currentDeadline;
}

uint64_t DiskDeadline::number() noexcept
{
    return currentNumber;
}

DiskPatience::DiskPatience() noexcept
{
    ++patient;
}

DiskPatience::~DiskPatience()
{
    --patient;
}

} // namespace kx
