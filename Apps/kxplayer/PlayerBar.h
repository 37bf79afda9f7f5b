#pragma once

#include "KXFW/KXFWUI.h"

#include <memory>

namespace kxplayer
{

/// What the bar is painted in.
struct BarColors {
    NSColor range, disabledRange;
    NSColor line, disabledLine; ///< the outline and the play line
    NSColor knob, disabledKnob;
};

/// The transport bar on a light or a dark ground: the framework's own colours are for a light one. For the main thread.
class PlayerBar : public KXPlayPositionView
{
public:
    void setOnDark(bool onDark); ///< At first the ground is light.

    void _setUpStartFrameLayer() override;
    void _setUpEndFrameLayer() override;
    [[nodiscard]] NSColor _drawingColor() const noexcept override;
    [[nodiscard]] NSColor _disabledColor() const noexcept override;
    [[nodiscard]] NSColor _drawingStrokeColor() const noexcept override;
    [[nodiscard]] NSColor _disabledStrokeColor() const noexcept override;

private:
    /// Shared with the knobs, which may outlive the bar.
    std::shared_ptr<bool> onDark_ = std::make_shared<bool>(false);
};

} // namespace kxplayer
