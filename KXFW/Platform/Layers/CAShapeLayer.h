#pragma once

#include "KXFW/Platform/Foundation/NSColor.h"
#include "KXFW/Platform/Layers/CALayer.h"
#include "KXFW/Platform/Layers/CGPath.h"

#include <memory>
#include <optional>

/// A layer that shows one path in its own coordinates: filled, then stroked along its outline, half of the line to each
/// side. The line is 1 point wide. Main thread only.
class KX_EXPORT CAShapeLayer : public CALayer
{
public:
    static constexpr double lineWidth = 1.0; ///< of the stroke, in points

    CAShapeLayer();           ///< Without a path. [main]
    ~CAShapeLayer() override; ///< [main]

    // All [main].

    [[nodiscard]] const CGPathRef &path() const noexcept; ///< Null for none.
    /// Takes a copy: what happens to `path` afterwards changes nothing here. Null for none.
    void setPath(const CGPathRef &path);
    /// None leaves the path unfilled. At first opaque black.
    [[nodiscard]] const std::optional<NSColor> &fillColor() const noexcept;
    void setFillColor(const std::optional<NSColor> &color);
    /// None leaves the outline undrawn, as at first.
    [[nodiscard]] const std::optional<NSColor> &strokeColor() const noexcept;
    void setStrokeColor(const std::optional<NSColor> &color);

    [[nodiscard]] NSRect ownPaintedArea() const override; ///< [main]

private:
    struct Impl;
    const std::unique_ptr<Impl> impl_;
};
