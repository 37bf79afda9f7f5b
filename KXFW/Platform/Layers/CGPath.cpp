#include "KXFW/Platform/Layers/CGPath.h"

#include <algorithm>

std::optional<NSRect> CGPath::boundingBox() const
{
    if (figures_.empty())
        return std::nullopt;
    NSPoint low = figures_.front().points.front();
    NSPoint high = low;
    for (const Figure &figure : figures_) {
        for (const NSPoint &point : figure.points) {
            low = {std::min(low.x, point.x), std::min(low.y, point.y)};
            high = {std::max(high.x, point.x), std::max(high.y, point.y)};
        }
    }
    return NSRect{low, {high.x - low.x, high.y - low.y}};
}

void CGPath::moveTo(NSPoint point)
{
    figures_.push_back({{point}, false});
}

void CGPath::addLineTo(NSPoint point)
{
    if (figures_.empty())
        return moveTo(point);
    if (figures_.back().closed)
        moveTo(figures_.back().points.front());
    figures_.back().points.push_back(point);
}

void CGPath::closeSubpath()
{
    if (!figures_.empty())
        figures_.back().closed = true;
}

CGMutablePathRef CGPathCreateMutable()
{
    return std::make_shared<CGPath>();
}

void CGPathRelease(CGMutablePathRef &path)
{
    path.reset();
}

void CGPathMoveToPoint(CGPath &path, double x, double y)
{
    path.moveTo({x, y});
}

void CGPathAddLineToPoint(CGPath &path, double x, double y)
{
    path.addLineTo({x, y});
}

void CGPathAddRect(CGPath &path, const NSRect &rect)
{
    const auto [x, y] = rect.origin;
    const auto [width, height] = rect.size;
    path.moveTo({x, y});
    path.addLineTo({x + width, y});
    path.addLineTo({x + width, y + height});
    path.addLineTo({x, y + height});
    path.closeSubpath();
}

void CGPathCloseSubpath(CGPath &path)
{
    path.closeSubpath();
}
