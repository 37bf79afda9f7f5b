#include "KXFW/Platform/Hardware/Backends/VirtualPort.h"

#include "KXFW/Platform/Foundation/Status.h"
#include "KXFW/Platform/Hardware/Backends/StreamBuffer.h"

#include <algorithm>

namespace
{

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kLongestStandstill{10}; ///< of a stream that was granted frames

} // namespace

kx::VirtualPort::VirtualPort(VirtualPortSettings settings)
    : settings_(std::move(settings)),
      buffer_(settings_.format.mSampleRate, bufferFrames(settings_.format.mSampleRate, settings_.sliceFrames))
{
}

kx::StatusOr<uint32_t> kx::VirtualPort::waitForRoom()
{
    std::unique_lock guard(lock_);
    const Clock::time_point deadline = Clock::now() + kLongestWait;
    for (;;) {
        const Clock::time_point now = Clock::now();
        if (isInterrupted_)
            return 0u;
        if (isLost_)
            return kAudioHardwareBadDeviceError;
        if (const uint32_t frames = room(now); frames > 0 || now >= deadline)
            return frames;
        const bool isPaced = settings_.clock == VirtualClock::RealTime;
        const auto wake = isPaced ? buffer_.timeOfRoom(settings_.sliceFrames) : deadline;
        changed_.wait_until(guard, std::min(deadline, wake));
    }
}

uint32_t kx::VirtualPort::room(Clock::time_point now)
{
    switch (settings_.clock) {
    case VirtualClock::RealTime:
        buffer_.advanceTo(now);
        return buffer_.roomFrames() < settings_.sliceFrames ? 0 : settings_.sliceFrames;
    case VirtualClock::Manual:
        return static_cast<uint32_t>(std::min<uint64_t>(credit_, settings_.sliceFrames));
    case VirtualClock::FlatOut:
        return settings_.sliceFrames;
    }
    return 0;
}

kx::VirtualPort::Fate kx::VirtualPort::fateOfWrite()
{
    const std::lock_guard guard(lock_);
    if (isLost_)
        return Fate::Lost;
    return isInterrupted_ ? Fate::Cut : Fate::Heard;
}

void kx::VirtualPort::take(uint32_t frames)
{
    {
        const std::lock_guard guard(lock_);
        if (settings_.clock == VirtualClock::RealTime)
            buffer_.write(frames, Clock::now());
        credit_ -= std::min<uint64_t>(credit_, frames);
        taken_ += frames;
        given_ += frames;
    }
    changed_.notify_all();
}

void kx::VirtualPort::drain()
{
    std::unique_lock guard(lock_);
    if (settings_.clock != VirtualClock::RealTime)
        return;
    if (!changed_.wait_until(guard, buffer_.timeOfEnd(), [this] { return hasEnded(); }))
        buffer_.finish();
}

void kx::VirtualPort::interrupt() noexcept
{
    {
        const std::lock_guard guard(lock_);
        isInterrupted_ = true;
    }
    changed_.notify_all();
}

uint64_t kx::VirtualPort::underruns() noexcept
{
    const std::lock_guard guard(lock_);
    return buffer_.underruns();
}

uint32_t kx::VirtualPort::latencyFrames() noexcept
{
    const std::lock_guard guard(lock_);
    return static_cast<uint32_t>(buffer_.heldFramesAt(Clock::now()));
}

uint64_t kx::VirtualPort::heardFrames() noexcept
{
    const std::lock_guard guard(lock_);
    return given_ - buffer_.heldFramesAt(Clock::now());
}

void kx::VirtualPort::lose()
{
    {
        const std::lock_guard guard(lock_);
        isLost_ = true;
    }
    changed_.notify_all();
}

void kx::VirtualPort::grant(uint32_t frames)
{
    {
        const std::lock_guard guard(lock_);
        credit_ += frames;
        taken_ = 0;
    }
    changed_.notify_all();
}

uint64_t kx::VirtualPort::waitUntilTaken()
{
    std::unique_lock guard(lock_);
    uint64_t before = taken_;
    const auto moved = [&] { return hasEnded() || taken_ != before; };
    while (!hasEnded() && credit_ > 0 && changed_.wait_for(guard, kLongestStandstill, moved))
        before = taken_;
    credit_ = 0;
    return taken_;
}
