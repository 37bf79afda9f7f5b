#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace kx::test
{

inline constexpr std::chrono::seconds kHangDeadline{30}; ///< longer than any test takes that does not hang

/// Lets the other threads run for a while, so that one that does not wait as it should is seen, as a rule.
inline void linger(int turns = 200)
{
    for (int i = 0; i < turns; ++i)
        std::this_thread::yield();
}

/// Counts what threads announce and lets others wait for it, so that no test sleeps.
class Handshake
{
public:
    void announce() // [any]
    {
        const std::lock_guard guard(lock_);
        ++count_;
        changed_.notify_all();
    }

    /// Waits until `count` announcements were made; false if they do not come. [any] [blocks]
    [[nodiscard]] bool await(int count = 1)
    {
        std::unique_lock guard(lock_);
        return changed_.wait_for(guard, kHangDeadline, [&] { return count_ >= count; });
    }

    [[nodiscard]] int count() // [any]
    {
        const std::lock_guard guard(lock_);
        return count_;
    }

private:
    std::mutex lock_;
    std::condition_variable changed_;
    int count_ = 0;
};

} // namespace kx::test
