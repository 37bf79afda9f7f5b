#pragma once

#include "KXFW/Platform/Foundation/Export.h"
#include "KXFW/Platform/Layers/CAShapeLayer.h"
#include "KXFW/Platform/Toolkit/NSEvent.h"

#include <memory>
#include <string>

class KXARangeKnobLayer;

/// Hears of the moves of a knob.
class KX_EXPORT KXARangeKnobLayerDelegate
{
public:
    virtual ~KXARangeKnobLayerDelegate() = default;
    /// A drag has moved `knob`; its hot spot says where it is now. [main]
    virtual void knobLayerDidMove(KXARangeKnobLayer &knob) = 0;
};

/// The knob at the start of a range: a right triangle below a bar whose tip, the hot spot, points at the start. It
/// moves itself sideways between two limits when it is dragged, and tells its delegate. The view that shows it hands it
/// the mouse events.
///
/// States: released (filled) and pressed (outline only), switched by mouseDown and mouseUp. Independently, `enabled`
/// selects the colour: every call of setEnabled colours the knob anew, also with the same value.
///
/// The anchor point is the bottom left; limits and hot spot are in the coordinates of the parent. Main thread only.
class KX_EXPORT KXARangeKnobLayer : public CAShapeLayer
{
public:
    KXARangeKnobLayer();           ///< Not set up: made by `initWithFrame`. [main]
    ~KXARangeKnobLayer() override; ///< [main]

    /// A new knob of class `Knob`, in the disabled colour, with the size of `frame` for good. [main]
    template <class Knob = KXARangeKnobLayer>
    [[nodiscard]] static std::shared_ptr<Knob> initWithFrame(const NSRect &frame)
    {
        auto knob = CALayer::layer<Knob>();
        knob->_setUpWithFrame(frame);
        return knob;
    }

    // The fields. All [main].

    [[nodiscard]] bool enabled() const noexcept;
    void setEnabled(bool enabled);
    /// The smallest and the largest x of the hot spot in a drag; where they cross, the largest wins.
    [[nodiscard]] double min() const noexcept;
    void setMin(double min) noexcept;
    [[nodiscard]] double max() const noexcept;
    void setMax(double max) noexcept;
    /// Borrowed; null once it is gone.
    [[nodiscard]] std::shared_ptr<KXARangeKnobLayerDelegate> knobLayerDelegate() const;
    void setKnobLayerDelegate(const std::shared_ptr<KXARangeKnobLayerDelegate> &delegate);
    /// Where the pointer was at the press, then at the last step that moved the knob, in window coordinates.
    [[nodiscard]] NSPoint lastMouseLocation() const noexcept;
    void setLastMouseLocation(NSPoint location) noexcept;

    // The shape. All [main].

    /// Adds the outline to `path`, open; `frame` is the layer's bounds.
    virtual void strokePath(CGPath &path, const NSRect &frame) const;
    /// The tip, in the parent's coordinates: the top right.
    [[nodiscard]] virtual NSPoint hotSpot() const;
    [[nodiscard]] virtual NSColor _drawingColor() const noexcept;
    [[nodiscard]] virtual NSColor _disabledColor() const noexcept;

    // The mouse. All [main].

    void mouseDown(const NSEvent &event);
    /// A step: follows the pointer sideways within the limits. The delegate is told when the knob has moved.
    void mouseDragged(const NSEvent &event);
    void mouseUp(const NSEvent &event);

    void _setUpWithFrame(const NSRect &frame); ///< Once, by `initWithFrame`. [main]
    /// "enabled" colours the knob; other keys are told to their observers. [main]
    void didChangeValueForKey(const std::string &key) override;

private:
    struct Impl;
    const std::unique_ptr<Impl> impl_;
};
