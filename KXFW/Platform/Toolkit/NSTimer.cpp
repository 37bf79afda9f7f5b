#include "KXFW/Platform/Toolkit/NSTimer.h"

#include "KXFW/Platform/Toolkit/ToolkitEdge.h"

#include <QBasicTimer>
#include <QObject>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

class NSTimer::Clock : public QObject
{
public:
    Clock(double interval, std::function<void()> block) : block_(std::move(block))
    {
        constexpr double kMost = std::numeric_limits<int>::max(); // 24 days
        const double milliseconds = std::isnan(interval) ? 1 : std::clamp(interval * 1000, 1.0, kMost);
        timer_.start(static_cast<int>(milliseconds), Qt::PreciseTimer, this);
    }

protected:
    void timerEvent(QTimerEvent *) override
    {
        const auto block = block_; // it may let the timer go
        kx::atToolkitEdge("The action failed.", block);
    }

private:
    QBasicTimer timer_;
    std::function<void()> block_;
};

std::shared_ptr<NSTimer> NSTimer::scheduledTimerWithTimeInterval(double interval, std::function<void()> block)
{
    kx::installToolkit();
    return std::shared_ptr<NSTimer>(new NSTimer(std::make_unique<Clock>(interval, std::move(block))));
}

NSTimer::NSTimer(std::unique_ptr<Clock> clock) : clock_(std::move(clock)) {}

NSTimer::~NSTimer() = default;

void NSTimer::invalidate()
{
    clock_.reset();
}

bool NSTimer::isValid() const noexcept
{
    return clock_ != nullptr;
}
