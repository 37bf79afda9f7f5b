#pragma once

#include "KXFW/Platform/Foundation/PriorityMutex.h"

#include <atomic>

namespace kx
{

/// The guard of one unit's render: held during each render and while a control thread puts changes in place. It knows
/// its holder, so that a unit entered from its own render can answer with a status. Satisfies BasicLockable.
class RenderLock
{
public:
    void lock() ///< Not while this thread holds it. [any] [render]
    {
        mutex_.lock();
        holder_.store(me(), std::memory_order_relaxed);
    }

    void unlock() noexcept ///< [any] [render]
    {
        holder_.store(nullptr, std::memory_order_relaxed);
        mutex_.unlock();
    }

    /// Relaxed is enough: only this thread ever stores this thread's mark. [any] [render]
    [[nodiscard]] bool heldByMe() const noexcept { return holder_.load(std::memory_order_relaxed) == me(); }

private:
    static const void *me() noexcept
    {
        thread_local const char mark = 0;
        return &mark;
    }

    PriorityMutex mutex_;
    std::atomic<const void *> holder_{nullptr};
};

} // namespace kx
