#include "KXFW/Platform/Layers/CAShapeLayer.h"

#include "KXFW/Platform/Layers/RectMath.h"

namespace
{

constexpr double kMiterReach = 2.5; ///< how far a pointed corner may reach beyond the outline, in line widths

} // namespace

void CAShapeLayer::setPath(const CGPathRef &path)
{
    const bool same = path_ && path ? *path_ == *path : !path_ && !path;
    if (!same)
        change([&] { path_ = path ? std::make_shared<const CGPath>(*path) : nullptr; });
}

void CAShapeLayer::setFillColor(const std::optional<NSColor> &color)
{
    if (fillColor_ != color)
        change([&] { fillColor_ = color; });
}

void CAShapeLayer::setStrokeColor(const std::optional<NSColor> &color)
{
    if (strokeColor_ != color)
        change([&] { strokeColor_ = color; });
}

NSRect CAShapeLayer::ownPaintedArea() const
{
    const auto box = path_ ? path_->boundingBox() : std::nullopt;
    if (!box || (!fillColor_ && !strokeColor_))
        return {};
    return strokeColor_ ? kx::grown(*box, lineWidth * kMiterReach) : *box;
}
