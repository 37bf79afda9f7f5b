/// @file
/// Points, sizes and rectangles as plain values, in points of 1/72 inch at a scale of 1. A rectangle may have a
/// negative size, as the difference of two places gives it; the functions below take it as the area that it covers.
#pragma once

#include <algorithm>

/// A place: x grows to the right, y upward.
struct NSPoint {
    double x = 0;
    double y = 0;

    bool operator==(const NSPoint &) const = default;
};

/// A width and a height, either of which may be negative.
struct NSSize {
    double width = 0;
    double height = 0;

    bool operator==(const NSSize &) const = default;
};

/// The area between `origin` and the corner that `size` leads to.
struct NSRect {
    NSPoint origin;
    NSSize size;

    bool operator==(const NSRect &) const = default;
};

using CGPoint = NSPoint;
using CGSize = NSSize;
using CGRect = NSRect;

// The edges of the area that a rectangle covers, and what lies between them, whichever corner its origin is. All [any].
inline constexpr double CGRectGetMinX(const NSRect &r) noexcept
{
    return r.origin.x + std::min(r.size.width, 0.0);
}
inline constexpr double CGRectGetMaxX(const NSRect &r) noexcept
{
    return r.origin.x + std::max(r.size.width, 0.0);
}
inline constexpr double CGRectGetMinY(const NSRect &r) noexcept
{
    return r.origin.y + std::min(r.size.height, 0.0);
}
inline constexpr double CGRectGetMaxY(const NSRect &r) noexcept
{
    return r.origin.y + std::max(r.size.height, 0.0);
}
inline constexpr double CGRectGetWidth(const NSRect &r) noexcept
{
    return CGRectGetMaxX(r) - CGRectGetMinX(r);
}
inline constexpr double CGRectGetHeight(const NSRect &r) noexcept
{
    return CGRectGetMaxY(r) - CGRectGetMinY(r);
}
inline constexpr double CGRectGetMidY(const NSRect &r) noexcept
{
    return r.origin.y + r.size.height / 2;
}
