#pragma once

#include <QEvent>
#include <QObject>
#include <QWidget>

#include <functional>
#include <utility>

namespace kxplayer
{

/// Runs `follow` with the colours of a widget, now and whenever they change, such as from light to dark, for as long as
/// its parent is there.
class PaletteWatch : public QObject
{
public:
    PaletteWatch(QObject *parent, QWidget &widget, std::function<void(const QPalette &colors)> follow)
        : QObject(parent), follow_(std::move(follow))
    {
        widget.installEventFilter(this);
        follow_(widget.palette());
    }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::PaletteChange)
            follow_(static_cast<QWidget *>(watched)->palette());
        return false;
    }

private:
    std::function<void(const QPalette &)> follow_;
};

} // namespace kxplayer
