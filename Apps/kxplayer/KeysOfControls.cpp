#include "Apps/kxplayer/KeysOfControls.h"

#include <QAbstractButton>
#include <QAccessible>
#include <QApplication>
#include <QFocusEvent>
#include <QKeyEvent>

namespace kxplayer
{

namespace
{

bool isSlider(QWidget *control)
{
    const QAccessibleInterface *const seen = QAccessible::queryAccessibleInterface(control);
    return seen && seen->role() == QAccessible::Slider;
}

} // namespace

KeysOfControls::KeysOfControls(QWidget &window) : QObject(&window), window_(window)
{
    qApp->installEventFilter(this);
}

bool KeysOfControls::uses(QWidget *control, int key) const
{
    switch (key) {
    case Qt::Key_Space:
        return control == tabbedTo_ && qobject_cast<QAbstractButton *>(control);
    case Qt::Key_Left:
    case Qt::Key_Right:
    case Qt::Key_Home:
        return isSlider(control);
    default:
        return false;
    }
}

bool KeysOfControls::eventFilter(QObject *watched, QEvent *event)
{
    auto *const control = qobject_cast<QWidget *>(watched);
    if (!control || control->window() != &window_)
        return false;
    if (event->type() == QEvent::MouseButtonPress)
        tabbedTo_ = nullptr;
    if (event->type() == QEvent::FocusIn) {
        const Qt::FocusReason reason = static_cast<QFocusEvent *>(event)->reason();
        const bool isTab = reason == Qt::TabFocusReason || reason == Qt::BacktabFocusReason;
        const bool isBack = reason == Qt::ActiveWindowFocusReason || reason == Qt::PopupFocusReason;
        tabbedTo_ = isTab || (isBack && control == tabbedTo_) ? control : nullptr;
    }
    if (event->type() != QEvent::ShortcutOverride || !uses(control, static_cast<QKeyEvent *>(event)->key()))
        return false;
    event->accept();
    return true;
}

} // namespace kxplayer
