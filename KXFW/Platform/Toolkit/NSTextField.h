#pragma once

#include "KXFW/Platform/Toolkit/NSControl.h"

/// A line of text, which the user may edit where the screen has an edit field, or a label. The action of a field is
/// sent when the user presses Return, and once after an edit when the focus leaves the field.
class KX_EXPORT NSTextField : public NSControl
{
public:
    NSTextField() = default;               ///< Empty. [any]
    explicit NSTextField(QWidget *widget); ///< Empty when it is neither an edit field nor a label. [main]
};
