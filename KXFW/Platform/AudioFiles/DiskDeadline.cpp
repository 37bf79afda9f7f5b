#include "KXFW/Platform/AudioFiles/DiskDeadline.h"

#include <atomic>

namespace kx
{

namespace
{

thread_local std::optional<DiskDeadline::Clock::time_point> deadline;
thread_local uint64_t deadlineNumber = 0;
thread_local int patient = 0;

std::atomic<uint64_t> deadlines{0};

} // namespace

DiskDeadline::DiskDeadline(std::chrono::milliseconds patience) noexcept
    : counts_(patience != kNone && patient == 0 && !deadline)
{
    if (!counts_)
        return;
    deadline = Clock::now() + patience;
    deadlineNumber = ++deadlines;
}

DiskDeadline::~DiskDeadline()
{
    if (!counts_)
        return;
    deadline.reset();
    deadlineNumber = 0;
}

std::optional<DiskDeadline::Clock::time_point> DiskDeadline::current() noexcept
{
    return deadline;
}

uint64_t DiskDeadline::number() noexcept
{
    return deadlineNumber;
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
