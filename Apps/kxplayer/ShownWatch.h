#pragma once

#include <QEvent>
#include <QObject>
#include <QWidget>

#include <functional>
#include <utility>

namespace kxplayer
{

/// Tells when a widget has come and, once that is over, when it has gone, for as long as its parent is there.
class ShownWatch : public QObject
{
public:
    ShownWatch(QObject *parent, QWidget &widget, std::function<void(bool shown)> tell)
        : QObject(parent), tell_(std::move(tell))
    {
        widget.installEventFilter(this);
    }

protected:
    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->spontaneous())
            return false; // minimised, or back from there
        if (event->type() == QEvent::Show)
            tell_(true);
        else if (event->type() == QEvent::Hide)
            QMetaObject::invokeMethod(
                this, [this] { tell_(false); }, Qt::QueuedConnection);
        return false;
    }

private:
    std::function<void(bool)> tell_;
};

} // namespace kxplayer
