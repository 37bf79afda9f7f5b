#pragma once

#include <pthread.h>

namespace kx
{

/// A mutex whose holder inherits the priority of those who wait, so that a render thread never waits for a thread
/// that others keep off the processor. Locking it twice on one thread is reported (throws NSException
/// "kx::Reentry"), never a deadlock. Satisfies Lockable.
class PriorityMutex
{
public:
    PriorityMutex();  ///< [any]
    ~PriorityMutex(); ///< [any]
    PriorityMutex(const PriorityMutex &) = delete;
    PriorityMutex &operator=(const PriorityMutex &) = delete;

    void lock();              ///< [any] [render]
    bool try_lock() noexcept; ///< [any] [render]
    void unlock() noexcept;   ///< [any] [render]

private:
    pthread_mutex_t mutex_;
};

} // namespace kx
