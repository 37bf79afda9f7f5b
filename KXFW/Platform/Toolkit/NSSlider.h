#pragma once

#include "KXFW/Platform/Toolkit/RangedControl.h"

/// A slider or dial. Its action is sent whenever the user has moved it.
class KX_EXPORT NSSlider : public kx::RangedControl
{
public:
    NSSlider() = default;               ///< Empty. [any]
    explicit NSSlider(QWidget *widget); ///< Empty when it is no slider. [main]
};
