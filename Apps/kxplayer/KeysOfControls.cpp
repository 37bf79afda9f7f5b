#include "Apps/kxplayer/KeysOfControls.h"

#include <QAbstractButton>
#include <QAbstractSlider>
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
        return qobject_cast<QAbstractSlider *>(control) || (control == tabbedTo_ && isSlider(control));
    default:
        return false;
    }
}

/// The toolkit says that it tabs, too, when it leaves a control that is disabled.
void KeysOfControls::note(QWidget *focused, Qt::FocusReason reason)
{
    const bool isKey = lastKey_ == Qt::Key_Tab || lastKey_ == Qt::Key_Backtab;
    const bool isTab = isKey && (reason == Qt::TabFocusReason || reason == Qt::BacktabFocusReason);
    const bool isBack = reason == Qt::ActiveWindowFocusReason || reason == Qt::PopupFocusReason;
    tabbedTo_ = isTab || (isBack && focused == tabbedTo_) ? focused : nullptr;
}

bool KeysOfControls::eventFilter(QObject *watched, QEvent *event)
{
    auto *const control = qobject_cast<QWidget *>(watched);
    if (!control || control->window() != &window_)
        return false;
    if (event->type() == QEvent::MouseButtonPress)
        tabbedTo_ = nullptr;
    if (event->type() == QEvent::FocusIn)
        note(control, static_cast<QFocusEvent *>(event)->reason());
    if (event->type() != QEvent::ShortcutOverride) // comes before every press of a key
        return false;
    lastKey_ = static_cast<QKeyEvent *>(event)->key();
    if (!uses(control, lastKey_))
        return false;
    event->accept();
    return true;
}

} // namespace kxplayer
