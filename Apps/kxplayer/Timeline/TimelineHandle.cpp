#include "Apps/kxplayer/Timeline/TimelineHandle.h"

#include "Apps/kxplayer/TimeText.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QKeyEvent>
#include <QPainter>

#include <algorithm>
#include <optional>

namespace kxplayer
{

namespace
{

constexpr int kFocusMargin = 2; ///< points between the handle and the frame around it

class AccessibleHandle : public QAccessibleWidget, public QAccessibleValueInterface
{
public:
    explicit AccessibleHandle(TimelineHandle *handle) : QAccessibleWidget(handle, QAccessible::Slider) {}

    void *interface_cast(QAccessible::InterfaceType type) override
    {
        return type == QAccessible::ValueInterface ? static_cast<QAccessibleValueInterface *>(this)
                                                   : QAccessibleWidget::interface_cast(type);
    }
    [[nodiscard]] QString text(QAccessible::Text kind) const override
    {
        return kind == QAccessible::Value ? QString::fromStdString(spokenTime(handle().value()))
                                          : QAccessibleWidget::text(kind);
    }
    [[nodiscard]] QVariant currentValue() const override { return qlonglong(handle().value()); }
    [[nodiscard]] QVariant minimumValue() const override { return qlonglong(handle().limits().first); }
    [[nodiscard]] QVariant maximumValue() const override { return qlonglong(handle().limits().second); }
    [[nodiscard]] QVariant minimumStepSize() const override { return qlonglong(handle().step()); }
    void setCurrentValue(const QVariant &value) override
    {
        if (handle().isEnabled())
            handle().moveTo(value.toLongLong());
    }

private:
    [[nodiscard]] TimelineHandle &handle() const { return *static_cast<TimelineHandle *>(widget()); }
};

QAccessibleInterface *accessibleHandle(const QString &, QObject *object)
{
    auto *const handle = dynamic_cast<TimelineHandle *>(object);
    return handle ? new AccessibleHandle(handle) : nullptr;
}

} // namespace

TimelineHandle::TimelineHandle(const QString &name, const Steps &steps, Move move, QWidget *parent)
    : QWidget(parent), steps_(steps), move_(std::move(move))
{
    static const bool known = (QAccessible::installFactory(accessibleHandle), true);
    static_cast<void>(known);
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setFocusPolicy(Qt::TabFocus);
    setAccessibleName(name);
}

void TimelineHandle::show(const QRect &place, int64_t value, const Limits &limits)
{
    limits_ = limits;
    setGeometry(place.adjusted(-kFocusMargin, -kFocusMargin, kFocusMargin, kFocusMargin));
    setEnabled(limits.first < limits.second);
    setValue(value);
}

void TimelineHandle::setValue(int64_t value)
{
    if (std::exchange(value_, value) == value || !hasFocus())
        return;
    QAccessibleValueChangeEvent change(this, qlonglong(value));
    QAccessible::updateAccessibility(&change);
}

void TimelineHandle::moveTo(int64_t value)
{
    move_(std::clamp(value, limits_.first, limits_.second));
}

void TimelineHandle::keyPressEvent(QKeyEvent *event)
{
    const auto target = [&]() -> std::optional<int64_t> {
        switch (event->key()) {
        case Qt::Key_Left:
        case Qt::Key_Down:
            return value_ - steps_.step;
        case Qt::Key_Right:
        case Qt::Key_Up:
            return value_ + steps_.step;
        case Qt::Key_PageDown:
            return value_ - steps_.page;
        case Qt::Key_PageUp:
            return value_ + steps_.page;
        case Qt::Key_Home:
            return limits_.first;
        case Qt::Key_End:
            return limits_.second;
        default:
            return {};
        }
    }();
    if (!target || (event->modifiers() & ~Qt::KeypadModifier))
        return QWidget::keyPressEvent(event);
    moveTo(*target);
}

void TimelineHandle::paintEvent(QPaintEvent *)
{
    if (!hasFocus())
        return;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(palette().color(QPalette::Highlight), 1.5));
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.75, 0.75, -0.75, -0.75), 2, 2);
}

} // namespace kxplayer
