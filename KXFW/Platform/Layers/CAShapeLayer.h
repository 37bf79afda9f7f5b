#pragma once

#include "KXFW/Platform/Foundation/NSColor.h"
#include "KXFW/Platform/Layers/CALayer.h"
#include "KXFW/Platform/Layers/CGPath.h"

#include <optional>

/// A layer that shows one path in its own coordinates: filled, then stroked along its outline, half of the line to each
/// side. The line is 1 point wide. Main thread only.
class KX_EXPORT CAShapeLayer : public CALayer
{
public:
    static constexpr double lineWidth = 1.0; ///< of the stroke, in points

    // All [main].

    [[nodiscard]] const CGPathRef &path() const noexcept { return path_; } ///< Null for none.
    /// Takes a copy: what happens to `path` afterwards changes nothing here. Null for none.
    void setPath(const CGPathRef &path);
    /// None leaves the path unfilled. At first opaque black.
    [[nodiscard]] const std::optional<NSColor> &fillColor() const noexcept { return fillColor_; }
    void setFillColor(const std::optional<NSColor> &color);
    /// None leaves the outline undrawn, as at first.
    [[nodiscard]] const std::optional<NSColor> &strokeColor() const noexcept { return strokeColor_; }
    void setStrokeColor(const std::optional<NSColor> &color);

    [[nodiscard]] NSRect ownPaintedArea() const override; ///< [main]

private:
    CGPathRef path_;
    std::optional<NSColor> fillColor_ = NSColor{};
    std::optional<NSColor> strokeColor_;
};
