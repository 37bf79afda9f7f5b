#pragma once

#include <QMouseEvent>
#include <QWidget>

namespace kx
{

/// Where the pointer is in the widget's window, to the screen's own pixels, from the top left. The toolkit rounds all
/// of an event's positions to whole points but the one in its native window, which this is unless the widget stands in
/// a native one of its own. [main]
inline QPointF positionInWindow(const QWidget &widget, const QMouseEvent &event)
{
    const QPointF rounded = widget.window()->mapFromGlobal(event.globalPosition());
    const QPointF difference = event.scenePosition() - rounded;
    return qAbs(difference.x()) <= 1 && qAbs(difference.y()) <= 1 ? event.scenePosition() : rounded;
}

} // namespace kx
