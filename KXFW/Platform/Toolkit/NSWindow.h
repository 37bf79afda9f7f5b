#pragma once

#include "KXFW/Platform/Toolkit/WidgetHandle.h"

/// A window of the screen, as a weak handle.
class KX_EXPORT NSWindow : public kx::WidgetHandle
{
public:
    NSWindow() = default;               ///< Empty. [any]
    explicit NSWindow(QWidget *widget); ///< Empty when it is no window. [main]
};
