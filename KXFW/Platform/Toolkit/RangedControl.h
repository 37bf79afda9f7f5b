#pragma once

#include "KXFW/Platform/Toolkit/NSControl.h"

namespace kx
{

/// A control whose value lies between two limits. The interface file gives them as the properties `minValue` and
/// `maxValue`; where it gives none they are those of the widget's steps.
class KX_EXPORT RangedControl : public NSControl
{
public:
    using NSControl::NSControl;

    // The limits. A value outside them moves to the nearest; what is not a number is ignored. All [main].

    [[nodiscard]] double minValue() const;
    void setMinValue(double value) const;
    [[nodiscard]] double maxValue() const;
    void setMaxValue(double value) const;
};

} // namespace kx
