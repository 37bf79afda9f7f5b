#pragma once

#include "KXFW/Platform/Foundation/Export.h"
#include "KXFW/Platform/Foundation/Geometry.h"
#include "KXFW/Platform/Foundation/NSObject.h"

#include <memory>
#include <vector>

namespace kx
{

class LayerHost;

} // namespace kx

/// A rectangle in a tree of rectangles: plain geometry. A parent owns its sublayers, the last one topmost; it shows
/// them above itself. Coordinates are points, y grows upward. The bounds are the layer's rectangle in its own
/// coordinates; its position says where, in the parent's, the anchor point lies, which is given as a part of the
/// bounds: (0, 0) is the bottom left, (0.5, 0.5) the middle. A change shows up at once, or with the end of a
/// transaction (CATransaction); there is no animation. Main thread only.
///
///     const auto knob = CALayer::layer<CAShapeLayer>();
///     knob->setAnchorPoint({0, 0});
///     knob->setFrame({{20, 4}, {12, 16}}); // the bottom left at (20, 4)
///     root->addSublayer(knob);
class KX_EXPORT CALayer : public NSObject, public std::enable_shared_from_this<CALayer>
{
public:
    CALayer();           ///< Empty, at (0, 0). [main]
    ~CALayer() override; ///< Its sublayers are roots afterwards, where others hold them. [main]

    /// A new layer of class `Layer`. [main]
    template <class Layer = CALayer> [[nodiscard]] static std::shared_ptr<Layer> layer()
    {
        return std::make_shared<Layer>();
    }

    // Geometry, in points. All [main].

    [[nodiscard]] const NSRect &bounds() const noexcept;
    void setBounds(const NSRect &bounds);
    [[nodiscard]] NSPoint position() const noexcept;
    void setPosition(NSPoint position);
    /// At first the middle, (0.5, 0.5).
    [[nodiscard]] NSPoint anchorPoint() const noexcept;
    void setAnchorPoint(NSPoint anchorPoint);
    /// The rectangle in the parent's coordinates, from bounds, position and anchor point.
    [[nodiscard]] NSRect frame() const noexcept;
    /// Sets position and the size of the bounds, whose origin stays.
    void setFrame(const NSRect &frame);
    /// Whether the layer's own drawing and its sublayers are cut off at its bounds. At first not.
    [[nodiscard]] bool masksToBounds() const noexcept;
    void setMasksToBounds(bool masksToBounds);

    // The tree. All [main].

    [[nodiscard]] const std::vector<std::shared_ptr<CALayer>> &sublayers() const noexcept;
    [[nodiscard]] CALayer *superlayer() const noexcept; ///< Null for a root.
    /// Puts `sublayer` on top of the others; it leaves the parent that it had. What is null, is this layer or holds it
    /// is refused: nothing changes.
    void addSublayer(std::shared_ptr<CALayer> sublayer);
    void removeFromSuperlayer();

    /// The topmost layer of this tree whose rectangle has the point, in the coordinates of this layer's parent. Layers
    /// are found inside their parents' rectangles only. Null when the point lies outside this layer. [main]
    [[nodiscard]] std::shared_ptr<CALayer> hitTest(NSPoint point);

    /// The area that the layer and its sublayers may paint, in its own coordinates. [main]
    [[nodiscard]] NSRect paintedArea() const;
    /// What the layer itself paints, without sublayers and before it is cut off; the base paints nothing. [main]
    [[nodiscard]] virtual NSRect ownPaintedArea() const;

protected:
    /// Runs `apply`, which changes how the layer looks, and reports the area before and after. [main]
    template <class Change> void change(Change apply)
    {
        reportArea();
        apply();
        reportArea();
    }

private:
    friend class kx::LayerHost;
    void reportArea() const;

    struct Impl;
    const std::unique_ptr<Impl> impl_;
};
