#include "KXFW/Platform/Toolkit/ControlActions.h"

#include <QAbstractButton>
#include <QAbstractSlider>
#include <QLineEdit>

#include <memory>
#include <optional>
#include <utility>

namespace
{

void connectField(QLineEdit *field, const std::function<void()> &send)
{
    // What the user typed and has not committed. A text that the program put in its place is not committed.
    const auto typed = std::make_shared<std::optional<QString>>();
    QObject::connect(field, &QLineEdit::textEdited, field, [typed](const QString &text) { *typed = text; });
    QObject::connect(field, &QLineEdit::returnPressed, field, [typed, send] {
        typed->reset();
        send();
    });
    QObject::connect(field, &QLineEdit::editingFinished, field, [field, typed, send] {
        if (std::exchange(*typed, std::nullopt) == field->text())
            send();
    });
}

void connectSlider(QAbstractSlider *slider, const std::function<void()> &send)
{
    QObject::connect(slider, &QAbstractSlider::actionTriggered, slider, [slider, send] {
        const int target = slider->sliderPosition(); // the value itself follows only after this signal
        if (target == slider->value())
            return;
        slider->setValue(target);
        send();
    });
}

} // namespace

bool kx::connectAction(QWidget *control, const std::function<void()> &send)
{
    if (auto *button = qobject_cast<QAbstractButton *>(control))
        QObject::connect(button, &QAbstractButton::clicked, button, send);
    else if (auto *field = qobject_cast<QLineEdit *>(control))
        connectField(field, send);
    else if (auto *slider = qobject_cast<QAbstractSlider *>(control))
        connectSlider(slider, send);
    else
        return false;
    return true;
}
