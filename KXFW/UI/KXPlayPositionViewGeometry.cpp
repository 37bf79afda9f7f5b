#include "KXFW/UI/KXPlayPositionViewImpl.h"

#include <algorithm>
#include <cmath>

namespace
{

/// Toward zero; what lies beyond the integers is the nearest one, what is not a number is 0.
int64_t truncated(double value)
{
    constexpr double kLargest = 0x1.fffffffffffffp62; // the last double below 2^63
    return std::isnan(value) ? 0 : static_cast<int64_t>(std::clamp(value, -0x1p63, kLargest));
}

} // namespace

NSSize KXPlayPositionView::intrinsicContentSize() const
{
    return {12 * kMarkerWidth, 2 * (kBarHeight / 2 + kMarkerHeight)}; // the bar lies in the middle
}

float KXPlayPositionView::_barWidth() const noexcept
{
    return static_cast<float>(std::max(0.0, CGRectGetWidth(bounds()) - 2 * kMarkerWidth));
}

float KXPlayPositionView::_frame2X(int64_t frame) const noexcept
{
    const auto inset = static_cast<float>(kMarkerWidth);
    if (impl_->numFrames <= 0)
        return inset;
    return _barWidth() * static_cast<float>(frame) / static_cast<float>(impl_->numFrames) + inset;
}

int64_t KXPlayPositionView::_x2Frame(float x) const noexcept
{
    const float width = _barWidth();
    if (impl_->numFrames <= 0 || width <= 0)
        return 0;
    const double fromStart = static_cast<double>(x) - kMarkerWidth;
    const auto frames = static_cast<double>(static_cast<float>(impl_->numFrames));
    return std::min(truncated(frames * fromStart / static_cast<double>(width)), impl_->numFrames);
}

int64_t KXPlayPositionView::Impl::frameUnder(NSPoint pointInWindow) const noexcept
{
    const auto x = static_cast<float>(view.convertPoint(pointInWindow).x);
    return std::min(std::max<int64_t>(view._x2Frame(x), 0), endFrame);
}

int64_t KXPlayPositionView::_frameFromEvent(const NSEvent &event) const noexcept
{
    return impl_->frameUnder(event.locationInWindow());
}

void KXPlayPositionView::_updateEndFrameLayer()
{
    if (impl_->endFrameLayer)
        impl_->endFrameLayer->setMax(CGRectGetWidth(impl_->rootBounds()) - kMarkerWidth);
}

void KXPlayPositionView::_updateKnobRanges()
{
    const float shortest = _frame2X(kMinimumLoopRange);
    if (impl_->startFrameLayer)
        impl_->startFrameLayer->setMax(_frame2X(impl_->endFrame) - shortest + kMarkerWidth);
    if (impl_->endFrameLayer)
        impl_->endFrameLayer->setMin(_frame2X(impl_->startFrame) + shortest - kMarkerWidth);
}

void KXPlayPositionView::knobLayerDidMove(KXARangeKnobLayer &knob)
{
    const double tip = knob.hotSpot().x;
    const int64_t frame = _x2Frame(static_cast<float>(tip));
    const auto shortest = static_cast<double>(_frame2X(kMinimumLoopRange));
    // In a file too short for the shortest range the limits lie outside of it, but no frame may.
    if (&knob == impl_->startFrameLayer.get()) {
        setStartFrame(std::max<int64_t>(std::min(frame, impl_->endFrame), 0));
        if (impl_->endFrameLayer)
            impl_->endFrameLayer->setMin(shortest + tip - kMarkerWidth);
    } else if (&knob == impl_->endFrameLayer.get()) {
        setEndFrame(std::min(std::max(frame, impl_->startFrame), std::max<int64_t>(impl_->numFrames, 0)));
        if (impl_->startFrameLayer)
            impl_->startFrameLayer->setMax(tip - shortest + kMarkerWidth);
    }
}
