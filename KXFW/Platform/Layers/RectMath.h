/// @file
/// Rectangles as areas: union, overlap, containment. Each result has a size that is not negative.
#pragma once

#include "KXFW/Platform/Foundation/Geometry.h"

#include <algorithm>

namespace kx
{

/// The rectangle between two corners; empty where they cross. [any]
inline constexpr NSRect rectBetween(NSPoint low, NSPoint high) noexcept
{
    return {low, {std::max(high.x - low.x, 0.0), std::max(high.y - low.y, 0.0)}};
}

/// The same area with its origin at the bottom left. [any]
inline constexpr NSRect standardized(const NSRect &r) noexcept
{
    return rectBetween({CGRectGetMinX(r), CGRectGetMinY(r)}, {CGRectGetMaxX(r), CGRectGetMaxY(r)});
}

/// No area. A rectangle that is not a number has none. [any]
inline constexpr bool isEmpty(const NSRect &r) noexcept
{
    return !(CGRectGetWidth(r) > 0 && CGRectGetHeight(r) > 0);
}

/// The smallest rectangle around both; an empty one adds nothing. [any]
inline constexpr NSRect united(const NSRect &a, const NSRect &b) noexcept
{
    if (isEmpty(a) || isEmpty(b))
        return standardized(isEmpty(a) ? b : a);
    return rectBetween({std::min(CGRectGetMinX(a), CGRectGetMinX(b)), std::min(CGRectGetMinY(a), CGRectGetMinY(b))},
                       {std::max(CGRectGetMaxX(a), CGRectGetMaxX(b)), std::max(CGRectGetMaxY(a), CGRectGetMaxY(b))});
}

/// What lies in both. [any]
inline constexpr NSRect intersected(const NSRect &a, const NSRect &b) noexcept
{
    return rectBetween({std::max(CGRectGetMinX(a), CGRectGetMinX(b)), std::max(CGRectGetMinY(a), CGRectGetMinY(b))},
                       {std::min(CGRectGetMaxX(a), CGRectGetMaxX(b)), std::min(CGRectGetMaxY(a), CGRectGetMaxY(b))});
}

/// Larger by `margin` on every side. [any]
inline constexpr NSRect grown(const NSRect &r, double margin) noexcept
{
    const NSRect area = standardized(r);
    return {{area.origin.x - margin, area.origin.y - margin},
            {area.size.width + 2 * margin, area.size.height + 2 * margin}};
}

/// Moved by `offset`. [any]
inline constexpr NSRect moved(const NSRect &r, NSPoint offset) noexcept
{
    return {{r.origin.x + offset.x, r.origin.y + offset.y}, r.size};
}

/// Whether the area has the point: its left and bottom edges belong to it, the others do not. [any]
inline constexpr bool contains(const NSRect &r, NSPoint p) noexcept
{
    return p.x >= CGRectGetMinX(r) && p.x < CGRectGetMaxX(r) && p.y >= CGRectGetMinY(r) && p.y < CGRectGetMaxY(r);
}

} // namespace kx
