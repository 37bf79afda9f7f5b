#pragma once

#include "KXFW/Platform/Foundation/Export.h"

#include <chrono>
#include <functional>
#include <memory>

namespace kx
{

/// A repeating timer whose handler runs on the global default-priority queue.
///
/// It fires on time by the monotonic clock; the leeway is a permission to be late, never a delay. Runs of one handler
/// do not overlap: a tick that comes due during a run is dropped. After `cancel` no run starts, and cancel waits for
/// one that is under way unless it is called from that run. Destroying the timer cancels it.
class KX_EXPORT TimerSource
{
public:
    explicit TimerSource(std::function<void()> handler); ///< Suspended until `schedule` and `resume`. [any]
    ~TimerSource();                                      ///< [any] [blocks]
    TimerSource(const TimerSource &) = delete;
    TimerSource &operator=(const TimerSource &) = delete;

    /// First firing `delay` from now, then every `interval` (more than 0). [any]
    void schedule(std::chrono::nanoseconds delay, std::chrono::nanoseconds interval, std::chrono::nanoseconds leeway);
    void resume(); ///< [any]
    void cancel(); ///< For good; a second call does nothing. [any] [blocks]

private:
    struct Impl;
    const std::shared_ptr<Impl> impl_; ///< shared with the timer thread
};

} // namespace kx
