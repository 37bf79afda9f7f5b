#include "KXFW/UI/KXAEndRangeKnobLayer.h"

void KXAEndRangeKnobLayer::strokePath(CGPath &path, const NSRect &frame) const
{
    const auto width = static_cast<float>(CGRectGetWidth(frame));
    const auto height = static_cast<float>(CGRectGetHeight(frame));
    CGPathMoveToPoint(path, 0, 0);
    CGPathAddLineToPoint(path, width, 0);
    CGPathAddLineToPoint(path, 0, height);
}

NSPoint KXAEndRangeKnobLayer::hotSpot() const
{
    return {CGRectGetMinX(frame()), CGRectGetMaxY(frame())};
}
