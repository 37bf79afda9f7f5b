#include "KXFW/Platform/Toolkit/ElementWidget.h"

#include "KXFW/Platform/Toolkit/QtGeometry.h"
#include "KXFW/Platform/Toolkit/ToolkitEdge.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QKeyEvent>
#include <QPainter>

#include <limits>
#include <optional>
#include <utility>

namespace
{

constexpr int kFocusMargin = 2; // points between the element and the frame around it

using kx::SliderElement;

QString valueTextOf(const SliderElement &element)
{
    return QString::fromStdString(element.valueText());
}

class AccessibleElement : public QAccessibleWidget, public QAccessibleValueInterface
{
public:
    explicit AccessibleElement(kx::ElementWidget *widget)
        : QAccessibleWidget(widget, QAccessible::Slider, QString::fromStdString(widget->element().name()))
    {
    }

    void *interface_cast(QAccessible::InterfaceType type) override
    {
        return type == QAccessible::ValueInterface ? static_cast<QAccessibleValueInterface *>(this)
                                                   : QAccessibleWidget::interface_cast(type);
    }
    [[nodiscard]] QString text(QAccessible::Text kind) const override
    {
        return kind == QAccessible::Value ? valueTextOf(element()) : QAccessibleWidget::text(kind);
    }

    [[nodiscard]] QVariant currentValue() const override { return qlonglong(element().value()); }
    [[nodiscard]] QVariant minimumValue() const override { return qlonglong(element().minimum()); }
    [[nodiscard]] QVariant maximumValue() const override { return qlonglong(element().maximum()); }
    [[nodiscard]] QVariant minimumStepSize() const override { return qlonglong(element().step()); }
    void setCurrentValue(const QVariant &value) override
    {
        if (widget()->isEnabled() && element().enabled())
            kx::atToolkitEdge("The action failed.", [&] { element().move(value.toLongLong()); });
    }

private:
    [[nodiscard]] SliderElement &element() const { return static_cast<kx::ElementWidget *>(widget())->element(); }
};

QAccessibleInterface *accessibleOf(const QString &, QObject *object)
{
    auto *widget = dynamic_cast<kx::ElementWidget *>(object);
    return widget ? new AccessibleElement(widget) : nullptr;
}

/// `value + distance`, or the nearest integer to it.
int64_t moved(int64_t value, int64_t distance)
{
    int64_t sum = 0;
    if (!__builtin_add_overflow(value, distance, &sum))
        return sum;
    return distance < 0 ? std::numeric_limits<int64_t>::min() : std::numeric_limits<int64_t>::max();
}

/// Where a key takes the element; none for another key. The element itself keeps the limits.
std::optional<int64_t> target(const SliderElement &element, int key)
{
    switch (key) {
    case Qt::Key_Left:
    case Qt::Key_Down:
        return moved(element.value(), -element.step());
    case Qt::Key_Right:
    case Qt::Key_Up:
        return moved(element.value(), element.step());
    case Qt::Key_PageDown:
        return moved(element.value(), -element.page());
    case Qt::Key_PageUp:
        return moved(element.value(), element.page());
    case Qt::Key_Home:
        return element.minimum();
    case Qt::Key_End:
        return element.maximum();
    default:
        return std::nullopt;
    }
}

} // namespace

kx::ElementWidget::ElementWidget(std::shared_ptr<SliderElement> element, QWidget *view)
    : QWidget(view), element_(std::move(element))
{
    static const bool known = (QAccessible::installFactory(accessibleOf), true);
    static_cast<void>(known);
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setFocusPolicy(Qt::TabFocus);
    setAccessibleName(QString::fromStdString(element_->name()));
    lastValue_ = element_->value();
    refresh();
    show();
}

void kx::ElementWidget::refresh()
{
    const QRectF place = flipped(toQt(element_->frame()), parentWidget()->height());
    const QRect seen = alignedWithin(place, parentWidget()->rect());
    setGeometry(seen.adjusted(-kFocusMargin, -kFocusMargin, kFocusMargin, kFocusMargin));
    setEnabled(element_->enabled());
    const int64_t before = std::exchange(lastValue_, element_->value());
    if (before != lastValue_) {
        QAccessibleValueChangeEvent change(this, qlonglong(lastValue_));
        QAccessible::updateAccessibility(&change);
    }
}

void kx::ElementWidget::keyPressEvent(QKeyEvent *event)
{
    const auto value = target(*element_, event->key());
    if (!value || (event->modifiers() & ~Qt::KeypadModifier))
        return QWidget::keyPressEvent(event);
    atToolkitEdge("The action failed.", [&] { element_->move(*value); });
}

void kx::ElementWidget::paintEvent(QPaintEvent *)
{
    if (!hasFocus())
        return;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(palette().color(QPalette::Highlight), 1.5));
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.75, 0.75, -0.75, -0.75), 2, 2);
}
