#include "KXFW/Platform/Layers/CAShapeLayer.h"

#include "KXFW/Platform/Layers/RectMath.h"

namespace
{

constexpr double kMiterReach = 2.5; ///< how far a pointed corner may reach beyond the outline, in line widths

} // namespace

struct CAShapeLayer::Impl {
    CGPathRef path;
    std::optional<NSColor> fillColor = NSColor{};
    std::optional<NSColor> strokeColor;
};

CAShapeLayer::CAShapeLayer() : impl_(std::make_unique<Impl>()) {}

CAShapeLayer::~CAShapeLayer() = default;

const CGPathRef &CAShapeLayer::path() const noexcept
{
    return impl_->path;
}

const std::optional<NSColor> &CAShapeLayer::fillColor() const noexcept
{
    return impl_->fillColor;
}

const std::optional<NSColor> &CAShapeLayer::strokeColor() const noexcept
{
    return impl_->strokeColor;
}

void CAShapeLayer::setPath(const CGPathRef &path)
{
    const bool same = impl_->path && path ? *impl_->path == *path : !impl_->path && !path;
    if (!same)
        change([&] { impl_->path = path ? std::make_shared<const CGPath>(*path) : nullptr; });
}

void CAShapeLayer::setFillColor(const std::optional<NSColor> &color)
{
    if (impl_->fillColor != color)
        change([&] { impl_->fillColor = color; });
}

void CAShapeLayer::setStrokeColor(const std::optional<NSColor> &color)
{
    if (impl_->strokeColor != color)
        change([&] { impl_->strokeColor = color; });
}

NSRect CAShapeLayer::ownPaintedArea() const
{
    const auto box = impl_->path ? impl_->path->boundingBox() : std::nullopt;
    if (!box || (!impl_->fillColor && !impl_->strokeColor))
        return {};
    return impl_->strokeColor ? kx::grown(*box, lineWidth * kMiterReach) : *box;
}
