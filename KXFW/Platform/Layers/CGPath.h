#pragma once

#include "KXFW/Platform/Foundation/Export.h"
#include "KXFW/Platform/Foundation/Geometry.h"

#include <memory>
#include <optional>
#include <vector>

/// An outline of straight lines, in the coordinates of the layer that shows it: any number of figures, each begun by a
/// point and open or closed. Filled, a figure counts as closed; figures that overlap fill by the nonzero winding rule.
/// A value.
///
///     CGPath triangle;
///     triangle.moveTo({0, 0});
///     triangle.addLineTo({10, 0});
///     triangle.addLineTo({10, 10});
///     triangle.closeSubpath();
class KX_EXPORT CGPath
{
public:
    struct Figure {
        std::vector<NSPoint> points;
        bool closed = false;

        bool operator==(const Figure &) const = default;
    };

    [[nodiscard]] const std::vector<Figure> &figures() const noexcept { return figures_; } ///< [any]
    [[nodiscard]] bool operator==(const CGPath &) const = default;                         ///< [any]

    /// The smallest rectangle with all points; none for a path without points. [any]
    [[nodiscard]] std::optional<NSRect> boundingBox() const;

    void moveTo(NSPoint point);    ///< Begins a figure. [main]
    void addLineTo(NSPoint point); ///< A line from the last point; without one it begins a figure there. [main]
    void closeSubpath();           ///< Closes the last figure; what is added next begins at that figure's start. [main]

private:
    std::vector<Figure> figures_;
};

/// A path that can still change, owned by those who hold it, and one that no longer does.
using CGMutablePathRef = std::shared_ptr<CGPath>;
using CGPathRef = std::shared_ptr<const CGPath>;

// The path functions by their names. All [main].

/// An empty path, owned by the caller: it goes with its last reference.
[[nodiscard]] KX_EXPORT CGMutablePathRef CGPathCreateMutable();
/// Gives up one reference; `path` is null afterwards.
KX_EXPORT void CGPathRelease(CGMutablePathRef &path);
KX_EXPORT void CGPathMoveToPoint(CGPath &path, double x, double y);
KX_EXPORT void CGPathAddLineToPoint(CGPath &path, double x, double y);
/// A closed figure: from the rectangle's origin along its width, then its height, and back.
KX_EXPORT void CGPathAddRect(CGPath &path, const NSRect &rect);
KX_EXPORT void CGPathCloseSubpath(CGPath &path);
