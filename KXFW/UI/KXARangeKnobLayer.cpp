#include "KXFW/UI/KXARangeKnobLayer.h"

#include "KXFW/Platform/Layers/CATransaction.h"

#include <algorithm>

namespace
{

constexpr const char *kEnabledKey = "enabled";

} // namespace

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
    enabled_ = enabled;
    if (observed)
        didChangeValueForKey(kEnabledKey);
}

void KXARangeKnobLayer::didChangeValueForKey(const std::string &key)
{
    if (key != kEnabledKey)
        return CAShapeLayer::didChangeValueForKey(key);
    const NSColor color = enabled_ ? _drawingColor() : _disabledColor();
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
    const double wanted = from.x + (location.x - lastMouseLocation_.x);
    const NSPoint to{std::min(std::max(min_ - tip, wanted), max_ - tip), from.y};
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
