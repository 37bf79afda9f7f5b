#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>

namespace kx
{

/// Which frame of a stream is being heard: what the thread that serves the device last learned, and the time since.
/// One thread tells, any may ask; none locks.
class HeardClock
{
public:
    using Time = std::chrono::steady_clock::time_point;

    explicit HeardClock(double sampleRate) noexcept : rate_(sampleRate) {}

    /// At `time` the device comes to the frame `frame`; it holds no frame from `end` on. One thread at a time. [render]
    void tell(Time time, uint64_t frame, uint64_t end) noexcept
    {
        ++tellings_; // odd until the last step: who asks meanwhile asks again
        time_ = time.time_since_epoch().count();
        frame_ = frame;
        end_ = end;
        ++tellings_;
    }

    /// All before `frame` has been heard, or will be whatever happens. [any]
    void settle(uint64_t frame) noexcept
    {
        uint64_t known = heard_;
        while (known < frame && !heard_.compare_exchange_weak(known, frame))
            continue;
    }

    /// Never less than before. [any]
    [[nodiscard]] uint64_t heardAt(Time now) noexcept
    {
        for (;;) {
            const uint32_t before = tellings_;
            const double seconds = std::chrono::duration<double>(now - Time(Time::duration(time_))).count();
            const double passed = static_cast<double>(frame_) + seconds * rate_; // may be still on its way
            const double heard = std::clamp(passed, 0.0, static_cast<double>(end_));
            if (before % 2 != 0 || before != tellings_)
                continue;
            settle(static_cast<uint64_t>(heard));
            return heard_;
        }
    }

private:
    const double rate_;
    std::atomic<uint32_t> tellings_ = 0;
    std::atomic<Time::rep> time_ = 0;
    std::atomic<uint64_t> frame_ = 0;
    std::atomic<uint64_t> end_ = 0;
    std::atomic<uint64_t> heard_ = 0;
};

} // namespace kx
