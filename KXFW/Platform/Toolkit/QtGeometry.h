/// @file
/// Our values as the toolkit's.
#pragma once

#include "KXFW/Platform/Foundation/Geometry.h"
#include "KXFW/Platform/Foundation/NSColor.h"

#include <QColor>
#include <QRectF>

#include <algorithm>

namespace kx
{

inline QPointF toQt(NSPoint p)
{
    return {p.x, p.y};
} ///< [any]
inline QRectF toQt(const NSRect &r)
{
    return {r.origin.x, r.origin.y, r.size.width, r.size.height};
} ///< [any]
inline NSRect fromQt(const QRectF &r)
{
    return {{r.x(), r.y()}, {r.width(), r.height()}};
} ///< [any]

/// Components outside 0 to 1 are taken as the nearer end. [any]
inline QColor toQt(const NSColor &c)
{
    const auto part = [](double v) { return static_cast<float>(std::clamp(v, 0.0, 1.0)); };
    return QColor::fromRgbF(part(c.red), part(c.green), part(c.blue), part(c.alpha));
}

/// A rectangle with the origin at the bottom left, seen from the top left of a surface of that height, and back. [any]
inline QRectF flipped(const QRectF &r, double height)
{
    return {r.x(), height - r.bottom(), r.width(), r.height()};
}

/// The smallest rectangle of integers around what `bounds` has of `r`; what lies beyond is taken as the nearest edge,
/// so that no number is too large. [any]
inline QRect alignedWithin(const QRectF &r, const QRect &bounds)
{
    const QRectF limits(bounds);
    const auto x = [&](double v) { return std::min(std::max(limits.left(), v), limits.right()); };
    const auto y = [&](double v) { return std::min(std::max(limits.top(), v), limits.bottom()); };
    return QRectF(QPointF(x(r.left()), y(r.top())), QPointF(x(r.right()), y(r.bottom()))).toAlignedRect();
}

} // namespace kx
