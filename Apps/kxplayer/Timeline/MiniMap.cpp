#include "Apps/kxplayer/Timeline/MiniMap.h"

#include "Apps/kxplayer/Timeline/TimelineView.h"
#include "Apps/kxplayer/Timeline/WavePainter.h"

#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>

namespace kxplayer
{

namespace
{

constexpr int kMapMargin = 3;    ///< points above and below the waveform
constexpr double kLeastSeen = 8; ///< points of the window, so that it can be taken

} // namespace

MiniMap::MiniMap(TimelineModel &model, QWidget *parent) : QWidget(parent), model_(model)
{
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setAccessibleName(tr("Whole file"));
    setAttribute(Qt::WA_OpaquePaintEvent);
    const auto repaint = [this] { update(); };
    connect(&model_, &TimelineModel::viewChanged, this, repaint);
    connect(&model_, &TimelineModel::rangeChanged, this, repaint);
    connect(&model_, &TimelineModel::waveChanged, this, repaint);
    connect(&model_, &TimelineModel::lineMoved, this, [this](qint64 before) {
        const int from = static_cast<int>(std::floor(xOf(static_cast<double>(before))));
        const int to = static_cast<int>(std::floor(xOf(static_cast<double>(model_.line()))));
        if (from != to)
            update(QRect(QPoint(std::min(from, to) - 2, 0), QPoint(std::max(from, to) + 2, height())));
    });
}

QRect MiniMap::area() const
{
    return QRect(TimelineView::kMargin, kMapMargin, std::max(width() - 2 * TimelineView::kMargin, 1),
                 std::max(height() - 2 * kMapMargin, 1));
}

double MiniMap::framesPerPoint() const
{
    return static_cast<double>(std::max<int64_t>(model_.length().count(), 1)) / area().width();
}

double MiniMap::xOf(double frame) const
{
    return area().left() + frame / framesPerPoint();
}

QRectF MiniMap::seen() const
{
    const double left = xOf(model_.view().firstFrame());
    const double size = std::max(xOf(model_.view().endFrame()) - left, kLeastSeen);
    return {std::clamp(left, double(area().left()), std::max(area().right() + 1 - size, double(area().left()))), 1,
            size, height() - 2.0};
}

void MiniMap::paintEvent(QPaintEvent *event)
{
    QPainter painter(this);
    painter.fillRect(event->rect(), palette().color(QPalette::Base));
    if (!model_.hasFile())
        return;
    painter.fillRect(QRect(0, 0, width(), 1),
                     mixed(palette().color(QPalette::Base), palette().color(QPalette::Text), 0.2));
    for (const QRect &dirty : event->region())
        paintWave(painter, dirty);
    paintWindow(painter);
    const double line = std::round(xOf(static_cast<double>(model_.line())));
    painter.fillRect(QRectF(line, kMapMargin, 1, area().height()), palette().color(QPalette::Text));
}

void MiniMap::paintWave(QPainter &painter, const QRect &dirty)
{
    const double scale = painter.deviceTransform().m11();
    const auto pixels = [&](int points) { return static_cast<int>(std::lround(points * scale)); };
    const QRect wave = area();
    const QPoint origin(pixels(wave.left()), pixels(wave.top()));
    if (std::exchange(painted_, model_.source().overview) != model_.source().overview)
        mask_.forget();
    const int width = pixels(wave.right() + 1) - origin.x();
    const auto length = static_cast<double>(model_.length().count());
    mask_.setLook({width, pixels(wave.bottom() + 1) - origin.y(), std::max(length, 1.0) / width, false, model_.gain()});
    mask_.paint(0, {model_.source().overview, nullptr});
    WavePainter columns(mask_, 0, origin);
    const double first = model_.view().firstFrame();
    const double end = model_.view().endFrame();
    double marks[] = {static_cast<double>(model_.range().start.count()),
                      static_cast<double>(model_.range().end.count()),
                      static_cast<double>(model_.line()),
                      first,
                      end,
                      length};
    std::ranges::sort(marks);
    double before = 0;
    for (const double mark : marks) {
        const double middle = (before + mark) / 2;
        const auto place = kx::Frames(static_cast<int64_t>(middle));
        columns.addUpTo(mark, waveColors(palette(), {middle < static_cast<double>(model_.line()),
                                                     model_.hasRange() && place >= model_.range().start &&
                                                         place < model_.range().end,
                                                     model_.loops(), middle < first || middle > end}));
        before = mark;
    }
    columns.addRest(waveColors(palette(), {}));
    columns.paint(painter, dirty);
}

void MiniMap::paintWindow(QPainter &painter) const
{
    if (model_.view().showsAll())
        return;
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(mixed(palette().color(QPalette::Base), palette().color(QPalette::Text), 0.65), 1.5));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(seen().adjusted(0.75, 0.75, -0.75, -0.75), 3, 3);
}

void MiniMap::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton || !model_.hasFile())
        return event->ignore();
    const double x = event->position().x();
    const double place = (x - area().left()) * framesPerPoint();
    const bool isHeld = x >= seen().left() && x <= seen().right();
    heldFrames_ = isHeld ? place - model_.view().firstFrame() : model_.view().span() / 2;
    model_.setView(model_.view().startingAt(place - heldFrames_));
}

void MiniMap::mouseMoveEvent(QMouseEvent *event)
{
    if (event->buttons() & Qt::LeftButton && model_.hasFile())
        model_.setView(
            model_.view().startingAt((event->position().x() - area().left()) * framesPerPoint() - heldFrames_));
}

void MiniMap::wheelEvent(QWheelEvent *event)
{
    const QPoint turn = event->angleDelta();
    model_.panByPages(-(turn.x() + turn.y()) / 1200.0);
    event->accept();
}

} // namespace kxplayer
