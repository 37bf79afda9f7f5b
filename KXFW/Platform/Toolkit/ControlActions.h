#pragma once

#include <functional>

class QWidget;

namespace kx
{

/// Has `send` run whenever the user works the control: clicks a button or check box, moves a slider, commits a text
/// field. A field is committed by Return, and by leaving it after an edit; once, even where the toolkit tells twice.
/// Nothing is sent for what the program changes. [main]
/// @return whether it is a control that can do that
[[nodiscard]] bool connectAction(QWidget *control, const std::function<void()> &send);

} // namespace kx
