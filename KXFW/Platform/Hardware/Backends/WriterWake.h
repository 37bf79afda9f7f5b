#pragma once

#include <atomic>
#include <chrono>
#include <ctime>
#include <semaphore.h>

namespace kx
{

/// Wakes the one thread that writes to a stream, from a callback that must neither lock nor wait.
class WriterWake
{
public:
    using Time = std::chrono::steady_clock::time_point;

    WriterWake() noexcept { sem_init(&semaphore_, 0, 0); }
    ~WriterWake() { sem_destroy(&semaphore_); }
    WriterWake(const WriterWake &) = delete;
    WriterWake &operator=(const WriterWake &) = delete;

    /// After a change. No lock, no allocation. [any] [render]
    void raise() noexcept
    {
        if (isAwaited_.exchange(false)) // so that the count does not grow while nobody waits
            sem_post(&semaphore_);
    }

    /// Waits until `condition`, asked after each change, holds; false at the deadline. One thread at a time. [blocks]
    template <class Condition> bool waitUntil(Time deadline, Condition &&condition)
    {
        using namespace std::chrono;
        const auto nanoseconds = duration_cast<std::chrono::nanoseconds>(deadline.time_since_epoch()).count();
        const timespec until{static_cast<time_t>(nanoseconds / 1'000'000'000), nanoseconds % 1'000'000'000};
        for (;;) {
            isAwaited_ = true; // before the look: a change after it finds this set
            if (condition())
                return true;
            if (steady_clock::now() >= deadline)
                return false;
            sem_clockwait(&semaphore_, CLOCK_MONOTONIC, &until);
        }
    }

private:
    std::atomic<bool> isAwaited_ = false;
    sem_t semaphore_{};
};

} // namespace kx
