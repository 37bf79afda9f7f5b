// What the user's hands do on the timeline.
#include "Apps/kxplayer/Timeline/TimelineView.h"

#include "KXFW/KXFWUI.h"

#include <QMouseEvent>
#include <QNativeGestureEvent>
#include <QTimerEvent>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>
#include <utility>

namespace kxplayer
{

namespace
{

constexpr double kDragDistance = 4;     ///< points from which on a press is a drag
constexpr double kEdgeReach = 3;        ///< points beside an edge of the range that take it
constexpr double kNotch = 120;          ///< of a wheel, in eighths of a degree
constexpr double kNotchesTwice = 3;     ///< notches that make it twice as large
constexpr double kPanOfNotch = 60;      ///< points
constexpr int kDragOnMilliseconds = 30; ///< beyond the edge
constexpr double kDragOnShare = 0.25;   ///< of the distance to the edge, each time

} // namespace

kx::Frames framesWithin(double frame, kx::Frames length)
{
    return std::clamp(kx::Frames(std::llround(frame)), kx::Frames(0), length);
}

double TimelineView::xOfEvent(const QMouseEvent &event) const
{
    return kx::positionInWindow(*this, event).x() - mapTo(window(), QPointF()).x();
}

kx::Frames TimelineView::frameAt(double x) const
{
    return framesWithin(model_.view().frameAt(x - kMargin), model_.length());
}

std::optional<RangeEnd> TimelineView::endAt(QPointF place) const
{
    const auto isAt = [&](RangeEnd end) {
        const QRectF grip = gripOf(end);
        const double edge = end == RangeEnd::Start ? grip.right() : grip.left();
        const bool isSeen = edge >= kMargin - 0.5 && edge <= width() - kMargin + 0.5;
        return isSeen && (grip.contains(place) ||
                          (model_.hasRange() && std::abs(place.x() - edge) <= kEdgeReach && place.y() >= kRulerHeight));
    };
    for (const RangeEnd end : {RangeEnd::Start, RangeEnd::End})
        if (isAt(end))
            return end;
    return {};
}

void TimelineView::begin(Hand hand)
{
    hand_ = hand;
    emit handBegan();
}

void TimelineView::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton || !model_.hasFile() || hand_ != Hand::None)
        return event->ignore();
    pressedX_ = handX_ = xOfEvent(*event);
    pressedFrame_ = frameAt(pressedX_);
    gripOffset_ = 0;
    const QPointF place(pressedX_, event->position().y());
    if (const auto end = endAt(place)) {
        const kx::Frames edge = *end == RangeEnd::Start ? model_.range().start : model_.range().end;
        gripOffset_ = xOf(edge.count()) - pressedX_;
        begin(*end == RangeEnd::Start ? Hand::Start : Hand::End);
    } else if (event->modifiers() & Qt::ShiftModifier) {
        begin(endNearTo(model_.range(), pressedFrame_) == RangeEnd::Start ? Hand::Start : Hand::End);
        drag();
    } else if (place.y() < kRulerHeight) {
        if (headOfLine().contains(place))
            gripOffset_ = xOf(model_.line()) - pressedX_;
        begin(Hand::Line);
        drag();
    } else
        begin(Hand::Press);
}

void TimelineView::mouseMoveEvent(QMouseEvent *event)
{
    const QPointF place(xOfEvent(*event), event->position().y());
    point(place);
    if (hand_ == Hand::None) {
        const bool grips = model_.hasFile() && (endAt(place) || headOfLine().contains(place));
        setCursor(grips ? Qt::SizeHorCursor : Qt::ArrowCursor);
        return;
    }
    if (hand_ == Hand::Press && std::abs(place.x() - pressedX_) >= kDragDistance)
        hand_ = Hand::Select;
    handX_ = place.x();
    drag();
    const bool isBeyond = handX_ < kMargin || handX_ > width() - kMargin;
    if (!isBeyond)
        dragging_.stop();
    else if (!dragging_.isActive())
        dragging_.start(kDragOnMilliseconds, this);
}

/// The view goes on as long as the pointer is held beyond its edge.
void TimelineView::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != dragging_.timerId())
        return QWidget::timerEvent(event);
    const double beyond = handX_ < kMargin ? handX_ - kMargin : handX_ - (width() - kMargin);
    model_.setView(model_.view().pannedBy(beyond * kDragOnShare));
    drag();
}

void TimelineView::drag()
{
    const double x = std::clamp(handX_ + gripOffset_, double(kMargin), double(width() - kMargin));
    const kx::Frames frame = frameAt(x);
    switch (hand_) {
    case Hand::Select:
        emit rangePicked(rangeBetween(pressedFrame_, frame, model_.length()));
        break;
    case Hand::Start:
        emit rangePicked(withEndDragged(model_.range(), RangeEnd::Start, frame, model_.length()));
        break;
    case Hand::End:
        emit rangePicked(withEndDragged(model_.range(), RangeEnd::End, frame, model_.length()));
        break;
    case Hand::Line:
        emit linePicked(frame.count());
        break;
    case Hand::None:
    case Hand::Press:
        break;
    }
}

void TimelineView::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton || hand_ == Hand::None)
        return event->ignore();
    dragging_.stop();
    if (std::exchange(hand_, Hand::None) == Hand::Press)
        emit linePicked(pressedFrame_.count());
    emit handEnded();
}

void TimelineView::mouseDoubleClickEvent(QMouseEvent *event)
{
    const kx::Frames frame = frameAt(xOfEvent(*event));
    const bool isInWave = event->position().y() >= kRulerHeight;
    if (event->button() == Qt::LeftButton && isInWave && frame >= model_.range().start && frame < model_.range().end)
        emit loopRestarted();
    else
        mousePressEvent(event);
}

void TimelineView::point(std::optional<QPointF> place)
{
    const auto refresh = [this] {
        if (!pointer_)
            return;
        update(QRectF(pointer_->x() - 1, 0, 3, height()).toAlignedRect());
        update(pointerLabel().toAlignedRect().adjusted(-1, -1, 1, 1));
    };
    refresh();
    pointer_ = model_.hasFile() ? place : std::nullopt;
    if (pointer_)
        pointer_->setX(std::clamp(pointer_->x(), double(kMargin), double(width() - kMargin)));
    refresh();
}

void TimelineView::leaveEvent(QEvent *)
{
    point({});
}

void TimelineView::wheelEvent(QWheelEvent *event)
{
    const QPointF turn = event->angleDelta();
    const double x = event->position().x() - kMargin;
    const double sideways = event->modifiers() & Qt::ShiftModifier ? turn.x() + turn.y() : turn.x();
    if (std::abs(sideways) > 0 && (event->modifiers() & Qt::ShiftModifier || std::abs(turn.x()) > std::abs(turn.y())))
        model_.setView(model_.view().pannedBy(-sideways / kNotch * kPanOfNotch));
    else
        model_.setView(model_.view().zoomedAt(x, std::exp2(turn.y() / kNotch / kNotchesTwice)));
    event->accept();
}

void TimelineView::pinch(const QNativeGestureEvent &gesture)
{
    if (gesture.gestureType() == Qt::ZoomNativeGesture)
        model_.setView(model_.view().zoomedAt(gesture.position().x() - kMargin, std::exp2(gesture.value())));
}

bool TimelineView::event(QEvent *event)
{
    if (event->type() == QEvent::NativeGesture)
        pinch(*static_cast<QNativeGestureEvent *>(event));
    return QWidget::event(event);
}

} // namespace kxplayer
