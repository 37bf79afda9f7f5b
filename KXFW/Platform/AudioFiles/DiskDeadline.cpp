#include "KXFW/Platform/AudioFiles/DiskDeadline.h"

#include <atomic>

namespace kx
{

namespace
{

thread_local std::optional<DiskDeadline::Clock::time_point> currentDeadline;
thread_local uint64_t currentNumber = 0;
thread_local int patient = 0;

std::atomic<uint64_t> deadlines{0};

} // namespace

DiskDeadline::DiskDeadline(std::chrono::milliseconds patience) noexcept
    : counts_(patience != kNone && patient == 0 && !currentDeadline)
{
    if (!counts_)
        return;
    currentDeadline = Clock::now() + patience;
    currentNumber = ++deadlines;
}

DiskDeadline::~DiskDeadline()
{
    if (!counts_)
        return;
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
