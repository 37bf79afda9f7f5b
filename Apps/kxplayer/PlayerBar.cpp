#include "Apps/kxplayer/PlayerBar.h"

#include <utility>

namespace kxplayer
{

namespace
{

const kx::ViewClassRegistration<PlayerBar> registeredPlayerBar("PlayerBar");

// The hue of the light ones, as bright against a dark ground as those are dark against a light one.
constexpr NSColor kRange = NSColor::colorWithDeviceRed(0.56, 0.63, 0.98, 0.9);
constexpr NSColor kDisabledRange = NSColor::colorWithDeviceRed(0.56, 0.63, 0.98, 0.35);
constexpr NSColor kLine = NSColor::colorWithDeviceRed(0.93, 0.94, 0.97, 1.0);
constexpr NSColor kDisabledLine = NSColor::colorWithDeviceRed(0.93, 0.94, 0.97, 0.35);
constexpr NSColor kDisabledKnob = NSColor::colorWithDeviceRed(0.42, 0.46, 0.68, 0.8);

/// A knob of the framework's with the colours of its ground.
template <class Knob> class GroundedKnob : public Knob
{
public:
    static std::shared_ptr<Knob> knobOn(std::shared_ptr<const bool> onDark)
    {
        const auto knob =
            Knob::template initWithFrame<GroundedKnob>({{0, kMarkerOffsetY}, {kMarkerWidth, kMarkerHeight}});
        knob->onDark_ = std::move(onDark);
        return knob;
    }
    [[nodiscard]] NSColor _drawingColor() const noexcept override { return onDark() ? kRange : Knob::_drawingColor(); }
    [[nodiscard]] NSColor _disabledColor() const noexcept override
    {
        return onDark() ? kDisabledKnob : Knob::_disabledColor();
    }

private:
    [[nodiscard]] bool onDark() const noexcept { return onDark_ && *onDark_; }

    std::shared_ptr<const bool> onDark_;
};

} // namespace

void PlayerBar::setOnDark(bool onDark)
{
    *onDark_ = onDark;
    const auto recolor = [](const auto &knob) {
        if (knob)
            knob->setEnabled(knob->enabled());
    };
    recolor(startFrameLayer());
    recolor(endFrameLayer());
    _updateLayers();
}

void PlayerBar::_setUpStartFrameLayer()
{
    setStartFrameLayer(GroundedKnob<KXARangeKnobLayer>::knobOn(onDark_));
    addKnob(startFrameLayer());
}

void PlayerBar::_setUpEndFrameLayer()
{
    setEndFrameLayer(GroundedKnob<KXAEndRangeKnobLayer>::knobOn(onDark_));
    addKnob(endFrameLayer());
    _updateEndFrameLayer();
}

NSColor PlayerBar::_drawingColor() const noexcept
{
    return *onDark_ ? kRange : KXPlayPositionView::_drawingColor();
}

NSColor PlayerBar::_disabledColor() const noexcept
{
    return *onDark_ ? kDisabledRange : KXPlayPositionView::_disabledColor();
}

NSColor PlayerBar::_drawingStrokeColor() const noexcept
{
    return *onDark_ ? kLine : KXPlayPositionView::_drawingStrokeColor();
}

NSColor PlayerBar::_disabledStrokeColor() const noexcept
{
    return *onDark_ ? kDisabledLine : KXPlayPositionView::_disabledStrokeColor();
}

} // namespace kxplayer
