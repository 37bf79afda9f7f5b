#pragma once

#include "KXFW/Platform/Foundation/Export.h"

#include <functional>
#include <memory>

/// Calls a block again and again from the main thread's event loop, until it is invalidated or its last owner lets it
/// go. Calls that the event loop could not make in time are left out. An exception in the block is logged and shown,
/// and the timer goes on. The application object has to be there. Main thread only.
///
///     timer_ = NSTimer::scheduledTimerWithTimeInterval(0.1, [this] { updatePosition(); }); // ends with timer_
class KX_EXPORT NSTimer
{
public:
    /// A timer that runs. The first call comes after the interval, in seconds, which is 1 ms at least. [main]
    [[nodiscard]] static std::shared_ptr<NSTimer> scheduledTimerWithTimeInterval(double interval,
                                                                                 std::function<void()> block);
    ~NSTimer(); ///< Invalidates it; also from inside the block. [main]
    NSTimer(const NSTimer &) = delete;
    NSTimer &operator=(const NSTimer &) = delete;

    void invalidate();                           ///< No call from now on. [main]
    [[nodiscard]] bool isValid() const noexcept; ///< [main]

private:
    class Clock;
    explicit NSTimer(std::unique_ptr<Clock> clock);

    std::unique_ptr<Clock> clock_;
};
