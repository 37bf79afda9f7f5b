#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace kx
{

/// Tells threads that something has changed, whatever lock guards it: take the count, look, and wait for a change
/// beyond that count. A change that comes between is not missed.
class WakeSignal
{
public:
    using Time = std::chrono::steady_clock::time_point;

    void raise() noexcept // [any]
    {
        {
            const std::lock_guard guard(lock_);
            ++count_;
        }
        raised_.notify_all();
    }

    [[nodiscard]] uint64_t count() noexcept // [any]
    {
        const std::lock_guard guard(lock_);
        return count_;
    }

    /// False at the deadline. [any] [blocks]
    bool waitBeyond(uint64_t seen, Time deadline)
    {
        std::unique_lock guard(lock_);
        return raised_.wait_until(guard, deadline, [&] { return count_ > seen; });
    }

    /// Waits until `condition`, asked after each change, holds; false at the deadline. [any] [blocks]
    template <class Condition> bool waitUntil(Time deadline, Condition &&condition)
    {
        for (;;) {
            const uint64_t seen = count();
            if (condition())
                return true;
            if (!waitBeyond(seen, deadline))
                return condition();
        }
    }

private:
    std::mutex lock_;
    std::condition_variable raised_;
    uint64_t count_ = 0;
};

} // namespace kx
