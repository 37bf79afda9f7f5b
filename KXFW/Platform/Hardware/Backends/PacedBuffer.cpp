#include "KXFW/Platform/Hardware/Backends/PacedBuffer.h"

#include <algorithm>
#include <cmath>

namespace
{

using Nanoseconds = std::chrono::nanoseconds;

constexpr double kNanosecondsPerSecond = 1e9;

} // namespace

void kx::PacedBuffer::advanceTo(Time now) noexcept
{
    const bool ranDry = isRunning_ && dueAt(now) > written_;
    taken_ = takenAt(now);
    if (!ranDry)
        return;
    isRunning_ = false;
    ++underruns_;
}

void kx::PacedBuffer::finish() noexcept
{
    isRunning_ = false;
    taken_ = written_;
}

uint64_t kx::PacedBuffer::dueAt(Time now) const noexcept
{
    const auto elapsed = std::chrono::duration_cast<Nanoseconds>(std::max(now, start_) - start_).count();
    return static_cast<uint64_t>(static_cast<double>(elapsed) * rate_ / kNanosecondsPerSecond);
}

uint64_t kx::PacedBuffer::takenAt(Time now) const noexcept
{
    return isRunning_ ? std::clamp(dueAt(now), taken_, written_) : taken_;
}

void kx::PacedBuffer::write(uint32_t frames, Time now) noexcept
{
    advanceTo(now);
    if (!isRunning_) {
        start_ = now;
        written_ = taken_ = 0;
        isRunning_ = true;
    }
    written_ += frames;
}

uint32_t kx::PacedBuffer::roomFrames() const noexcept
{
    const uint64_t held = written_ - taken_;
    return held >= capacity_ ? 0 : capacity_ - static_cast<uint32_t>(held);
}

kx::PacedBuffer::Time kx::PacedBuffer::timeOfRoom(uint32_t frames) const noexcept
{
    const uint64_t mayBeHeld = capacity_ - std::min(frames, capacity_);
    return timeTaken(written_ > mayBeHeld ? written_ - mayBeHeld : 0);
}

kx::PacedBuffer::Time kx::PacedBuffer::timeTaken(uint64_t frames) const noexcept
{
    const double nanoseconds = std::ceil(static_cast<double>(frames) * kNanosecondsPerSecond / rate_);
    // One more, so that rounding never makes a frame come due after its time.
    return start_ + Nanoseconds(static_cast<int64_t>(nanoseconds) + 1);
}
