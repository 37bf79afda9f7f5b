#include "KXFW/UI/KXARangeKnobLayer.h"

#include "KXFW/Platform/Layers/CATransaction.h"

#include <algorithm>

namespace
{

constexpr const char *kEnabledKey = "enabled";

} // namespace

struct KXARangeKnobLayer::Impl {
    bool enabled = false;
    double min = 0;
    double max = 0;
    std::weak_ptr<KXARangeKnobLayerDelegate> knobLayerDelegate;
    NSPoint lastMouseLocation;
};

KXARangeKnobLayer::KXARangeKnobLayer() : impl_(std::make_unique<Impl>()) {}

KXARangeKnobLayer::~KXARangeKnobLayer() = default;

bool KXARangeKnobLayer::enabled() const noexcept
{
    return impl_->enabled;
}

double KXARangeKnobLayer::min() const noexcept
{
    return impl_->min;
}

double KXARangeKnobLayer::max() const noexcept
{
    return impl_->max;
}

std::shared_ptr<KXARangeKnobLayerDelegate> KXARangeKnobLayer::knobLayerDelegate() const
{
    return impl_->knobLayerDelegate.lock();
}

NSPoint KXARangeKnobLayer::lastMouseLocation() const noexcept
{
    return impl_->lastMouseLocation;
}

void KXARangeKnobLayer::setMin(double min) noexcept
{
    impl_->min = min;
}

void KXARangeKnobLayer::setMax(double max) noexcept
{
    impl_->max = max;
}

void KXARangeKnobLayer::setKnobLayerDelegate(const std::shared_ptr<KXARangeKnobLayerDelegate> &delegate)
{
    impl_->knobLayerDelegate = delegate;
}

void KXARangeKnobLayer::setLastMouseLocation(NSPoint location) noexcept
{
    impl_->lastMouseLocation = location;
}

void KXARangeKnobLayer::_setUpWithFrame(const NSRect &frame)
{
    setAnchorPoint({0, 0});
    setFrame(frame);
    setBounds({{0, 0}, frame.size});
    setFillColor(_drawingColor());
    setStrokeColor(_drawingColor());

    const CGMutablePathRef path = CGPathCreateMutable();
    strokePath(*path, bounds());
    CGPathCloseSubpath(*path);
    setPath(path);

    addObserver(this, kEnabledKey);
    setEnabled(false);
}

void KXARangeKnobLayer::setEnabled(bool enabled)
{
    const bool observed = isObserved(kEnabledKey);
    if (observed)
        willChangeValueForKey(kEnabledKey);
    impl_->enabled = enabled;
    if (observed)
        didChangeValueForKey(kEnabledKey);
}

void KXARangeKnobLayer::didChangeValueForKey(const std::string &key)
{
    if (key != kEnabledKey)
        return CAShapeLayer::didChangeValueForKey(key);
    const NSColor color = impl_->enabled ? _drawingColor() : _disabledColor();
    const kx::LayerTransaction transaction;
    setFillColor(color);
    setStrokeColor(color);
}

void KXARangeKnobLayer::strokePath(CGPath &path, const NSRect &frame) const
{
    const auto width = static_cast<float>(CGRectGetWidth(frame));
    const auto height = static_cast<float>(CGRectGetHeight(frame));
    CGPathMoveToPoint(path, 0, 0);
    CGPathAddLineToPoint(path, width, 0);
    CGPathAddLineToPoint(path, width, height);
}

NSPoint KXARangeKnobLayer::hotSpot() const
{
    return {CGRectGetMaxX(frame()), CGRectGetMaxY(frame())};
}

NSColor KXARangeKnobLayer::_drawingColor() const noexcept
{
    return NSColor::colorWithDeviceRed(0.31, 0.37, 0.73, 0.8);
}

NSColor KXARangeKnobLayer::_disabledColor() const noexcept
{
    return NSColor::colorWithDeviceRed(0.6, 0.6, 0.9, 0.8);
}

void KXARangeKnobLayer::mouseDown(const NSEvent &event)
{
    const kx::LayerTransaction transaction;
    setFillColor(std::nullopt);
    setLastMouseLocation(event.locationInWindow());
}

void KXARangeKnobLayer::mouseDragged(const NSEvent &event)
{
    const NSPoint location = event.locationInWindow();
    const double tip = hotSpot().x - CGRectGetMinX(frame());
    const NSPoint from = position();
    const double wanted = from.x + (location.x - impl_->lastMouseLocation.x);
    const NSPoint to{std::min(std::max(impl_->min - tip, wanted), impl_->max - tip), from.y};
    if (to == from)
        return; // the pointer has to come back to where the knob stopped
    {
        const kx::LayerTransaction transaction;
        setPosition(to);
    }
    setLastMouseLocation(location);
    if (const auto delegate = knobLayerDelegate())
        delegate->knobLayerDidMove(*this);
}

void KXARangeKnobLayer::mouseUp(const NSEvent &)
{
    const kx::LayerTransaction transaction;
    setFillColor(_drawingColor());
}
