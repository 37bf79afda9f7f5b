#pragma once

#include <QEvent>
#include <QObject>
#include <QPointer>

#include <functional>
#include <utility>

namespace kxplayer
{

/// Runs `reset` when its parent is double-clicked, which then does not see the click, for as long as `owner` is there.
class DoubleClickReset : public QObject
{
public:
    DoubleClickReset(QObject *parent, QObject &owner, std::function<void()> reset)
        : QObject(parent), owner_(&owner), reset_(std::move(reset))
    {
        parent->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() != QEvent::MouseButtonDblClick || !owner_)
            return false;
        reset_();
        return true;
    }

private:
    QPointer<QObject> owner_;
    std::function<void()> reset_;
};

} // namespace kxplayer
