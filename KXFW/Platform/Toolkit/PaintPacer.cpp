#include "KXFW/Platform/Toolkit/PaintPacer.h"

#include <QScreen>

#include <utility>

namespace
{

constexpr double kUsualRefreshRate = 60; // Hz, where the screen does not tell
constexpr qint64 kSecond = 1'000'000'000;
constexpr qint64 kMillisecond = 1'000'000;

} // namespace

kx::PaintPacer::PaintPacer(QWidget &widget, std::function<void()> beforePaint)
    : widget_(widget), beforePaint_(std::move(beforePaint))
{
    due_.setSingleShot(true);
    due_.setTimerType(Qt::PreciseTimer);
    connect(&due_, &QTimer::timeout, this, &PaintPacer::flush);
}

void kx::PaintPacer::add(const QRect &area)
{
    waiting_ += area;
    if (due_.isActive())
        return;
    const qint64 left = sinceLastPaint_.isValid() ? refreshNanoseconds() - sinceLastPaint_.nsecsElapsed() : 0;
    if (left <= 0)
        flush();
    else
        due_.start(static_cast<int>((left + kMillisecond - 1) / kMillisecond));
}

void kx::PaintPacer::painted()
{
    sinceLastPaint_.start();
}

void kx::PaintPacer::flush()
{
    const QRegion areas = std::exchange(waiting_, {}); // what changes meanwhile is a change of its own
    beforePaint_();
    widget_.update(areas);
}

qint64 kx::PaintPacer::refreshNanoseconds() const
{
    const double rate = widget_.screen() ? widget_.screen()->refreshRate() : 0;
    return static_cast<qint64>(static_cast<double>(kSecond) / (rate > 1 ? rate : kUsualRefreshRate));
}
