#pragma once

#include "KXFW/Platform/Toolkit/RangedControl.h"

/// A progress bar: full at `maxValue`. It sends no action.
class KX_EXPORT NSProgressIndicator : public kx::RangedControl
{
public:
    NSProgressIndicator() = default;               ///< Empty. [any]
    explicit NSProgressIndicator(QWidget *widget); ///< Empty when it is no progress bar. [main]
};
