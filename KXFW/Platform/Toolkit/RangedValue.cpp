#include "KXFW/Platform/Toolkit/RangedValue.h"

#include <QAbstractSlider>
#include <QProgressBar>
#include <QVariant>
#include <QWidget>

#include <algorithm>
#include <cmath>

namespace
{

constexpr const char *kMinValue = "minValue";
constexpr const char *kMaxValue = "maxValue";
constexpr const char *kKeptValue = "doubleValue";

double limit(const QWidget &widget, const char *ours, const char *steps)
{
    const QVariant value = widget.property(ours);
    return value.isValid() ? value.toDouble() : widget.property(steps).toDouble();
}

int stepOf(const QWidget &widget, double value)
{
    const double low = kx::minValueOf(widget);
    const double high = kx::maxValueOf(widget);
    const double first = widget.property("minimum").toInt();
    const double last = widget.property("maximum").toInt();
    const double part = high > low ? std::clamp((value - low) / (high - low), 0.0, 1.0) : 0;
    return static_cast<int>(std::lround(first + part * (last - first)));
}

double valueOfStep(const QWidget &widget, int step)
{
    const double low = kx::minValueOf(widget);
    const double first = widget.property("minimum").toInt();
    const double last = widget.property("maximum").toInt();
    return last > first ? low + (step - first) / (last - first) * (kx::maxValueOf(widget) - low) : low;
}

void setLimit(QWidget &widget, const char *name, double value)
{
    if (std::isnan(value))
        return;
    const double before = kx::rangedValueOf(widget);
    widget.setProperty(name, value);
    kx::setRangedValueOf(widget, before);
}

} // namespace

bool kx::isRanged(const QWidget *widget)
{
    return qobject_cast<const QAbstractSlider *>(widget) || qobject_cast<const QProgressBar *>(widget);
}

double kx::minValueOf(const QWidget &widget)
{
    return limit(widget, kMinValue, "minimum");
}

double kx::maxValueOf(const QWidget &widget)
{
    return limit(widget, kMaxValue, "maximum");
}

void kx::setMinValueOf(QWidget &widget, double value)
{
    setLimit(widget, kMinValue, value);
}

void kx::setMaxValueOf(QWidget &widget, double value)
{
    setLimit(widget, kMaxValue, value);
}

double kx::rangedValueOf(const QWidget &widget)
{
    const int step = widget.property("value").toInt();
    const QVariant kept = widget.property(kKeptValue);
    if (kept.isValid() && stepOf(widget, kept.toDouble()) == step) // else the user has moved it since
        return kept.toDouble();
    return std::max(valueOfStep(widget, step), minValueOf(widget)); // a fresh progress bar stands below its first step
}

void kx::setRangedValueOf(QWidget &widget, double value)
{
    if (std::isnan(value))
        return;
    const double low = minValueOf(widget);
    const double inside = std::clamp(value, low, std::max(low, maxValueOf(widget)));
    widget.setProperty(kKeptValue, inside);
    widget.setProperty("value", stepOf(widget, inside));
}
