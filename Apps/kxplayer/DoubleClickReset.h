#pragma once

#include <QEvent>
#include <QObject>

#include <functional>
#include <utility>

namespace kxplayer
{

/// Runs `reset` when its parent is double-clicked, which then does not see the click.
class DoubleClickReset : public QObject
{
public:
    DoubleClickReset(QObject *parent, std::function<void()> reset) : QObject(parent), reset_(std::move(reset))
    {
        parent->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() != QEvent::MouseButtonDblClick)
            return false;
        reset_();
        return true;
    }

private:
    std::function<void()> reset_;
};

} // namespace kxplayer
