#include "KXFW/Platform/Toolkit/NSControl.h"

#include "KXFW/Platform/Toolkit/LeadingNumber.h"
#include "KXFW/Platform/Toolkit/RangedValue.h"

#include <QAbstractButton>
#include <QLabel>
#include <QLineEdit>

#include <charconv>
#include <iterator>

namespace
{

template <class Integer> Integer integerOf(const NSControl &control)
{
    return kx::isRanged(control.widget()) ? kx::clampedInteger<Integer>(control.doubleValue())
                                          : kx::leadingInteger<Integer>(control.stringValue());
}

/// The shortest text that reads back as the same number.
std::string textOf(double value)
{
    char text[32];
    const auto end = std::to_chars(std::begin(text), std::end(text), value).ptr;
    return {text, end};
}

} // namespace

bool NSControl::enabled() const
{
    return widget() && widget()->isEnabled();
}

void NSControl::setEnabled(bool enabled) const
{
    if (widget())
        widget()->setEnabled(enabled);
}

std::string NSControl::stringValue() const
{
    if (const auto *field = qobject_cast<QLineEdit *>(widget()))
        return field->text().toStdString();
    if (const auto *label = qobject_cast<QLabel *>(widget()))
        return label->text().toStdString();
    if (const auto *button = qobject_cast<QAbstractButton *>(widget()))
        return button->isChecked() ? "1" : "0";
    return kx::isRanged(widget()) ? textOf(kx::rangedValueOf(*widget())) : "";
}

void NSControl::setStringValue(const std::string &value) const
{
    const QString text = QString::fromStdString(value);
    if (auto *field = qobject_cast<QLineEdit *>(widget())) {
        if (field->text() != text) // the same text again would lose cursor and selection
            field->setText(text);
    } else if (auto *label = qobject_cast<QLabel *>(widget())) {
        label->setTextFormat(Qt::PlainText);
        label->setText(text);
    } else if (auto *button = qobject_cast<QAbstractButton *>(widget())) {
        button->setChecked(kx::leadingInteger<int64_t>(value) != 0);
    } else if (kx::isRanged(widget())) {
        kx::setRangedValueOf(*widget(), kx::leadingDouble(value));
    }
}

int32_t NSControl::intValue() const
{
    return integerOf<int32_t>(*this);
}

int64_t NSControl::integerValue() const
{
    return integerOf<int64_t>(*this);
}

void NSControl::setIntegerValue(int64_t value) const
{
    setStringValue(std::to_string(value));
}

double NSControl::doubleValue() const
{
    return kx::isRanged(widget()) ? kx::rangedValueOf(*widget()) : kx::leadingDouble(stringValue());
}

void NSControl::setDoubleValue(double value) const
{
    if (kx::isRanged(widget()))
        kx::setRangedValueOf(*widget(), value);
    else
        setStringValue(textOf(value));
}
