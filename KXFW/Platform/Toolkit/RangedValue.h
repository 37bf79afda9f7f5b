/// @file
/// Sliders and progress bars, which count whole steps, as controls with a value between two real numbers. The limits
/// are the widget's properties `minValue` and `maxValue`, which a designer sets, else those of its steps. A value is
/// kept as it was set, and shown as the nearest step.
#pragma once

class QWidget;

namespace kx
{

[[nodiscard]] bool isRanged(const QWidget *widget); ///< [main]

// Of a ranged widget. All [main].

[[nodiscard]] double minValueOf(const QWidget &widget);
[[nodiscard]] double maxValueOf(const QWidget &widget);
void setMinValueOf(QWidget &widget, double value);
void setMaxValueOf(QWidget &widget, double value);
[[nodiscard]] double rangedValueOf(const QWidget &widget);
/// The nearest limit where the value lies outside; what is not a number changes nothing.
void setRangedValueOf(QWidget &widget, double value);

} // namespace kx
