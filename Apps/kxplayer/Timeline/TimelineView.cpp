#include "Apps/kxplayer/Timeline/TimelineView.h"

#include "Apps/kxplayer/TimeText.h"
#include "Apps/kxplayer/Timeline/Ruler.h"
#include "Apps/kxplayer/Timeline/TimelineHandle.h"
#include "Apps/kxplayer/Timeline/WavePainter.h"

#include <QPaintEvent>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

namespace kxplayer
{

namespace
{

constexpr double kGripWidth = 12;
constexpr double kGripHeight = 22;
constexpr double kLineWidth = 2;
constexpr double kHeadWidth = 15;
constexpr double kHeadHeight = 14;
constexpr double kPointDistance = 8; ///< pixels between samples from which on they are drawn as points
constexpr double kPointRadius = 2.5;
constexpr double kSampleLineWidth = 1.5;
constexpr double kSmallText = 0.85; ///< of the usual size
constexpr int64_t kHandleStep = kx::kSampleRate / 10;
constexpr int64_t kHandlePage = 5 * kx::kSampleRate;

QFont smallFont(const QFont &font)
{
    QFont small = font;
    small.setPointSizeF(font.pointSizeF() * kSmallText);
    return small;
}

} // namespace

TimelineView::TimelineView(TimelineModel &model, QWidget *parent) : QWidget(parent), model_(model)
{
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    setAccessibleName(tr("Timeline"));
    setMouseTracking(true);
    setAttribute(Qt::WA_OpaquePaintEvent);
    const auto pickEnd = [this](RangeEnd end) {
        return [this, end](int64_t frame) {
            emit rangePicked(withEndDragged(model_.range(), end, kx::Frames(frame), model_.length()));
        };
    };
    const TimelineHandle::Steps steps{kHandleStep, kHandlePage};
    lineHandle_ = new TimelineHandle(
        tr("Play position"), steps, [this](int64_t frame) { emit linePicked(frame); }, this);
    startHandle_ = new TimelineHandle(tr("Loop start"), steps, pickEnd(RangeEnd::Start), this);
    endHandle_ = new TimelineHandle(tr("Loop end"), steps, pickEnd(RangeEnd::End), this);
    const auto repaint = [this] {
        placeHandles();
        update();
    };
    connect(&model_, &TimelineModel::viewChanged, this, repaint);
    connect(&model_, &TimelineModel::rangeChanged, this, repaint);
    connect(&model_, &TimelineModel::waveChanged, this, repaint);
    connect(&model_, &TimelineModel::lineMoved, this, &TimelineView::showLine);
    placeHandles();
}

void TimelineView::resizeEvent(QResizeEvent *)
{
    model_.setWidth(std::max(width() - 2 * kMargin, 1));
}

QRect TimelineView::waveArea() const
{
    return {kMargin, kRulerHeight, std::max(width() - 2 * kMargin, 0), std::max(height() - kRulerHeight, 0)};
}

QRectF TimelineView::gripOf(RangeEnd end) const
{
    const double edge = xOf((end == RangeEnd::Start ? model_.range().start : model_.range().end).count());
    const double left = end == RangeEnd::Start ? edge - kGripWidth : edge;
    return {left, height() - kGripHeight, kGripWidth, kGripHeight};
}

QRectF TimelineView::headOfLine() const
{
    return {xOf(model_.line()) - kHeadWidth / 2, kRulerHeight - kHeadHeight, kHeadWidth, kHeadHeight};
}

/// The column of points that the play line with its head is in.
QRect TimelineView::strip(double x) const
{
    return QRectF(x - kHeadWidth / 2 - 1, 0, kHeadWidth + 2, height()).toAlignedRect();
}

void TimelineView::placeHandles()
{
    const int64_t length = model_.length().count();
    const kx::Range range = model_.range();
    lineHandle_->show(headOfLine().toAlignedRect(), model_.line(), {0, length});
    startHandle_->show(gripOf(RangeEnd::Start).toAlignedRect(), range.start.count(), {0, range.end.count()});
    endHandle_->show(gripOf(RangeEnd::End).toAlignedRect(), range.end.count(), {range.start.count(), length});
}

/// What lies between has or has not been played now.
void TimelineView::showLine(int64_t before)
{
    const QRect from = strip(xOf(before));
    const QRect to = strip(xOf(model_.line()));
    lineHandle_->setValue(model_.line());
    if (lineHandle_->hasFocus())
        placeHandles();
    update(from.united(to).intersected(rect()));
}

// Painting

void TimelineView::paintEvent(QPaintEvent *event)
{
    QPainter painter(this);
    for (const QRect &area : event->region()) {
        painter.fillRect(area, palette().color(QPalette::Base));
        if (model_.hasFile())
            paintWave(painter, area);
    }
    if (!model_.hasFile()) {
        painter.setPen(palette().color(QPalette::PlaceholderText));
        painter.drawText(rect(), Qt::AlignCenter, tr("Drop an audio file here"));
        return;
    }
    painter.setRenderHint(QPainter::Antialiasing);
    paintSamples(painter);
    paintRuler(painter);
    paintRange(painter);
    paintPointer(painter);
    paintLine(painter);
}

void TimelineView::paintWave(QPainter &painter, const QRect &area)
{
    const double scale = painter.deviceTransform().m11();
    const QRect wave = waveArea();
    const auto pixels = [&](int points) { return static_cast<int>(std::lround(points * scale)); };
    const QPoint origin(pixels(wave.left()), pixels(wave.top()));
    model_.wantSamples(scale);
    const WaveSource source = paintsPoints() ? WaveSource() : model_.source();
    if (source.overview != painted_.overview || source.samples != painted_.samples)
        mask_.forget();
    painted_ = source;
    const TimelineModel::Style style = model_.style();
    mask_.setLook({pixels(wave.right() + 1) - origin.x(), pixels(wave.bottom() + 1) - origin.y(),
                   model_.view().framesPerPixel() / scale, style.lanes, model_.gain()});
    if (mask_.look().width <= 0 || mask_.look().height <= 0)
        return;
    const auto first = std::llround(model_.view().firstFrame() / mask_.look().framesPerColumn);
    mask_.paint(first, source);
    WavePainter columns(mask_, first, origin);
    paintParts(columns);
    columns.paint(painter, area);
}

/// The range's ground, and before the line the colour of what was played.
void TimelineView::paintParts(WavePainter &wave) const
{
    const auto line = static_cast<double>(model_.line());
    const auto start = static_cast<double>(model_.range().start.count());
    const auto end = static_cast<double>(model_.range().end.count());
    const auto addUpTo = [&](double frame, bool inRange) {
        const WaveState state{false, inRange && model_.hasRange(), model_.loops(), false};
        WaveState played = state;
        played.played = true;
        wave.addUpTo(std::min(frame, line), waveColors(palette(), played));
        wave.addUpTo(frame, waveColors(palette(), state));
    };
    addUpTo(start, false);
    addUpTo(end, true);
    addUpTo(static_cast<double>(model_.length().count()), false);
    wave.addRest(waveColors(palette(), {}));
}

bool TimelineView::paintsPoints() const
{
    const auto &samples = model_.source().samples;
    const auto first = static_cast<int64_t>(model_.view().firstFrame());
    const auto end = std::min(static_cast<int64_t>(model_.view().endFrame()) + 1, model_.length().count());
    return samples && samples->covers(first, end) && 1 / model_.view().framesPerPixel() >= kPointDistance;
}

/// Single samples as points, joined by lines.
void TimelineView::paintSamples(QPainter &painter) const
{
    if (!paintsPoints())
        return;
    const QRectF wave = waveArea();
    painter.save();
    painter.setClipRect(wave);
    const double upper = model_.style().lanes ? std::floor(wave.height() / 2) : wave.height();
    paintLane(painter, 0, {wave.left(), wave.top(), wave.width(), upper});
    paintLane(painter, 1,
              model_.style().lanes ? QRectF(wave.left(), wave.top() + upper, wave.width(), wave.height() - upper)
                                   : QRectF(wave.left(), wave.top(), wave.width(), upper));
    painter.restore();
}

void TimelineView::paintLane(QPainter &painter, int channel, const QRectF &lane) const
{
    const SampleWindow &samples = *model_.source().samples;
    const auto first = std::max(static_cast<int64_t>(model_.view().firstFrame()), samples.first);
    const auto end = std::min(static_cast<int64_t>(model_.view().endFrame()) + 2, samples.end());
    const QColor color =
        mixed(palette().color(QPalette::Base), palette().color(QPalette::Text), channel == 0 ? 0.9 : 0.6);
    QPolygonF points;
    for (int64_t frame = first; frame < end; ++frame) {
        const int sample = samples.interleaved[static_cast<std::size_t>((frame - samples.first) * 2 + channel)];
        const double y = lane.height() / 2 - sample / 32768.0 * model_.gain() * (lane.height() / 2 - 1);
        points << QPointF(xOf(frame), lane.top() + std::clamp(y, 0.0, lane.height()));
    }
    painter.setPen(QPen(color, kSampleLineWidth));
    painter.drawPolyline(points);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    for (const QPointF &point : points)
        painter.drawEllipse(point, kPointRadius, kPointRadius);
}

void TimelineView::paintRuler(QPainter &painter) const
{
    const QColor text = palette().color(QPalette::Text);
    const QColor base = palette().color(QPalette::Base);
    painter.save();
    painter.setClipRect(QRect(0, 0, width(), kRulerHeight));
    painter.setRenderHint(QPainter::Antialiasing, false);
    painter.setFont(smallFont(font()));
    const QFontMetricsF metrics(painter.font());
    painter.fillRect(QRectF(0, kRulerHeight - 1, width(), 1), mixed(base, text, 0.2));
    for (const Tick &tick : ticksOf(model_.view(), metrics.horizontalAdvance('0'))) {
        const double x = kMargin + model_.view().xOf(tick.frame);
        const double size = tick.label.empty() ? 4 : 9;
        if (x >= kMargin - 0.5)
            painter.fillRect(QRectF(std::round(x), kRulerHeight - 1 - size, 1, size), mixed(base, text, 0.4));
        painter.setPen(mixed(base, text, 0.7));
        const QString label = QString::fromStdString(tick.label);
        if (!label.isEmpty() && x >= kMargin - 0.5 && x + 4 + metrics.horizontalAdvance(label) <= width())
            painter.drawText(QPointF(std::round(x) + 4, metrics.ascent() + 2), label);
    }
    painter.restore();
}

void TimelineView::paintRange(QPainter &painter) const
{
    for (const RangeEnd end : {RangeEnd::Start, RangeEnd::End})
        paintGrip(painter, end);
}

void TimelineView::paintGrip(QPainter &painter, RangeEnd end) const
{
    const QColor base = palette().color(QPalette::Base);
    const QColor used = model_.loops() && model_.hasRange() ? accentOf(palette()) : palette().color(QPalette::Text);
    const QColor color = mixed(base, used, model_.hasRange() ? 1 : 0.35);
    const QRectF grip = gripOf(end);
    const bool isStart = end == RangeEnd::Start;
    const double edge = isStart ? grip.right() : grip.left();
    if (edge < kMargin - 0.5 || edge > width() - kMargin + 0.5)
        return;
    if (model_.hasRange())
        painter.fillRect(QRectF(isStart ? edge - 1.5 : edge, kRulerHeight, 1.5, height() - kRulerHeight), color);
    QPainterPath shape;
    shape.setFillRule(Qt::WindingFill);
    shape.addRoundedRect(grip, 4, 4);
    shape.addRect(isStart ? grip.center().x() : grip.left(), grip.top(), grip.width() / 2, grip.height());
    painter.fillPath(shape, color);
    for (const double place : {-1.5, 1.5})
        painter.fillRect(QRectF(grip.center().x() + place - 0.5, grip.center().y() - 4, 1, 8), base);
}

/// The line under the pointer, and the time there.
void TimelineView::paintPointer(QPainter &painter) const
{
    if (!pointer_)
        return;
    const QColor text = palette().color(QPalette::Text);
    painter.fillRect(QRectF(std::round(pointer_->x()), kRulerHeight, 1, height() - kRulerHeight),
                     QColor(text.red(), text.green(), text.blue(), 90));
    const QRectF label = pointerLabel();
    QPainterPath shape;
    shape.addRoundedRect(label, 3, 3);
    painter.fillPath(shape, mixed(palette().color(QPalette::Base), text, 0.85));
    painter.setPen(palette().color(QPalette::Base));
    painter.setFont(smallFont(font()));
    painter.drawText(label, Qt::AlignCenter, pointerText());
}

/// The frame, where the ruler tells frames, too.
QString TimelineView::pointerText() const
{
    const int64_t frame = frameAt(pointer_->x()).count();
    return model_.view().framesPerPixel() < 1 ? QString::number(frame) : QString::fromStdString(timeText(frame));
}

QRectF TimelineView::pointerLabel() const
{
    const QFontMetricsF metrics(smallFont(font()));
    const double size = metrics.horizontalAdvance(pointerText()) + 10;
    const double left = std::clamp(pointer_->x() - size / 2, 1.0, std::max(width() - size - 1, 1.0));
    return {left, 1, size, kRulerHeight - 12};
}

void TimelineView::paintLine(QPainter &painter) const
{
    const double x = std::round(xOf(model_.line()));
    if (x < kMargin - 1 || x > width() - kMargin + 1)
        return;
    const QColor color = mixed(palette().color(QPalette::Base), palette().color(QPalette::Text), 0.92);
    painter.fillRect(QRectF(x - kLineWidth / 2, kRulerHeight - 2, kLineWidth, height() - kRulerHeight + 2), color);
    const QRectF head(x - kHeadWidth / 2, kRulerHeight - kHeadHeight, kHeadWidth, kHeadHeight);
    QPainterPath shape(head.topLeft() + QPointF(0, 2));
    shape.quadTo(head.topLeft(), head.topLeft() + QPointF(2, 0));
    shape.lineTo(head.topRight() - QPointF(2, 0));
    shape.quadTo(head.topRight(), head.topRight() + QPointF(0, 2));
    shape.lineTo(head.topRight() + QPointF(0, 7));
    shape.lineTo(head.center().x(), head.bottom());
    shape.lineTo(head.topLeft() + QPointF(0, 7));
    shape.closeSubpath();
    painter.fillPath(shape, color);
}

} // namespace kxplayer
