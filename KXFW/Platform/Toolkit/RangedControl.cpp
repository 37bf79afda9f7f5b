#include "KXFW/Platform/Toolkit/RangedControl.h"

#include "KXFW/Platform/Toolkit/RangedValue.h"

double kx::RangedControl::minValue() const
{
    return widget() ? minValueOf(*widget()) : 0;
}

void kx::RangedControl::setMinValue(double value) const
{
    if (widget())
        setMinValueOf(*widget(), value);
}

double kx::RangedControl::maxValue() const
{
    return widget() ? maxValueOf(*widget()) : 0;
}

void kx::RangedControl::setMaxValue(double value) const
{
    if (widget())
        setMaxValueOf(*widget(), value);
}
