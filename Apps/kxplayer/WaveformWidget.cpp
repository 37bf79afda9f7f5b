#include "Apps/kxplayer/WaveformWidget.h"

#include "KXFW/KXFWUI.h"

#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>

#include <algorithm>
#include <cmath>
#include <utility>

namespace kxplayer
{

namespace
{

constexpr double kMargin = 10; ///< the transport bar's, at either side
constexpr int kGrowthMilliseconds = 33;
constexpr double kTintOfRange = 0.15;
constexpr double kStrengthOutside = 0.45;

QColor mixed(const QColor &back, const QColor &front, double share)
{
    const auto mix = [&](int from, int to) { return static_cast<int>(std::lround(from + (to - from) * share)); };
    return {mix(back.red(), front.red()), mix(back.green(), front.green()), mix(back.blue(), front.blue())};
}

} // namespace

WaveformWidget::WaveformWidget(QWidget *parent) : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    setAccessibleName(tr("Waveform"));
}

QSize WaveformWidget::sizeHint() const
{
    return {480, 72};
}

QSize WaveformWidget::minimumSizeHint() const
{
    return {120, 24};
}

void WaveformWidget::setLevels(std::shared_ptr<const WaveformLevels> levels)
{
    levels_ = std::move(levels);
    shownFrames_ = levels_ ? levels_->framesDone() : 0;
    if (levels_ && !levels_->hasEnded())
        growthTimer_.start(kGrowthMilliseconds, this);
    else
        growthTimer_.stop();
    update();
}

void WaveformWidget::setRange(int64_t startFrame, int64_t endFrame)
{
    const int64_t oldStart = std::exchange(startFrame_, startFrame);
    const int64_t oldEnd = std::exchange(endFrame_, endFrame);
    if (oldStart != startFrame)
        updateBetween(oldStart, startFrame);
    if (oldEnd != endFrame)
        updateBetween(oldEnd, endFrame);
}

void WaveformWidget::setPlayFrame(int64_t frame)
{
    const QRectF before = playLine();
    playFrame_ = frame;
    if (const QRectF now = playLine(); now != before) {
        update(before.toAlignedRect());
        update(now.toAlignedRect());
    }
}

QRectF WaveformWidget::track() const
{
    return {kMargin, 0, std::max(width() - 2 * kMargin, 0.0), static_cast<double>(height())};
}

double WaveformWidget::xOfFrame(int64_t frame) const
{
    const int64_t frames = levels_ ? levels_->numFrames() : 0;
    const double share =
        static_cast<double>(std::clamp<int64_t>(frame, 0, frames)) / static_cast<double>(std::max<int64_t>(frames, 1));
    return kMargin + track().width() * share;
}

/// One point wide, at whole points, which moves it in steps that are painted sharply.
QRectF WaveformWidget::playLine() const
{
    return playFrame_ ? QRectF(std::round(xOfFrame(*playFrame_)), 0, 1, height()) : QRectF();
}

void WaveformWidget::mousePressEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton)
        point(*event);
    else
        event->ignore();
}

void WaveformWidget::mouseMoveEvent(QMouseEvent *event)
{
    if (event->buttons() & Qt::LeftButton)
        point(*event);
}

void WaveformWidget::point(const QMouseEvent &event)
{
    if (!levels_ || track().width() <= 0)
        return;
    const double x = kx::positionInWindow(*this, event).x() - mapTo(window(), QPointF()).x();
    const double share = std::clamp((x - kMargin) / track().width(), 0.0, 1.0);
    emit pointed(std::llround(share * static_cast<double>(levels_->numFrames())));
}

/// A pixel more at either side: a column is of as many frames as it touches.
void WaveformWidget::updateBetween(int64_t frame, int64_t otherFrame)
{
    const auto [left, right] = std::minmax({xOfFrame(frame), xOfFrame(otherFrame)});
    const int first = static_cast<int>(std::floor(left)) - 1;
    update(first, 0, static_cast<int>(std::ceil(right)) + 1 - first, height());
}

void WaveformWidget::timerEvent(QTimerEvent *event)
{
    if (event->timerId() == growthTimer_.timerId())
        showGrowth();
    else
        QWidget::timerEvent(event);
}

void WaveformWidget::showGrowth()
{
    if (levels_->hasEnded()) // asked first: what is known then is all there will be
        growthTimer_.stop();
    const int64_t done = levels_->framesDone();
    if (done != shownFrames_)
        updateBetween(std::exchange(shownFrames_, done), done);
}

void WaveformWidget::paintEvent(QPaintEvent *event)
{
    QPainter painter(this);
    paintBack(painter);
    if (levels_ && levels_->numFrames() > 0)
        for (const QRect &area : event->region())
            paintColumns(painter, area);
    if (levels_)
        painter.fillRect(playLine(), palette().color(QPalette::Text));
    else
        paintInvitation(painter);
}

void WaveformWidget::paintInvitation(QPainter &painter) const
{
    painter.setPen(palette().color(QPalette::PlaceholderText));
    painter.drawText(rect(), Qt::AlignCenter, tr("Drop an audio file here"));
}

void WaveformWidget::paintBack(QPainter &painter) const
{
    const QColor base = palette().color(QPalette::Base);
    painter.fillRect(track(), base);
    const double start = xOfFrame(startFrame_);
    const double end = xOfFrame(endFrame_);
    if (start < end)
        painter.fillRect(QRectF(start, 0, end - start, height()),
                         mixed(base, palette().color(QPalette::Highlight), kTintOfRange));
}

/// One line for each column of the screen's own pixels, whatever the scale factor.
void WaveformWidget::paintColumns(QPainter &painter, const QRect &area) const
{
    const QTransform toDevice = painter.deviceTransform();
    const double scale = toDevice.m11();
    const QRectF visible = track().intersected(area);
    const double framesPerPoint = static_cast<double>(levels_->numFrames()) / track().width();
    const QColor inside = palette().color(QPalette::Highlight);
    const QColor outside = mixed(palette().color(QPalette::Base), palette().color(QPalette::Text), kStrengthOutside);
    const double middle = std::floor(height() * scale / 2);
    const auto last = static_cast<int>(std::ceil(visible.right() * scale + toDevice.dx()));
    for (auto column = static_cast<int>(std::floor(visible.left() * scale + toDevice.dx())); column < last; ++column) {
        const double left = (column - toDevice.dx()) / scale;
        const double firstFrame = (left - kMargin) * framesPerPoint;
        const double endFrame = firstFrame + framesPerPoint / scale;
        // With the frame behind its last, so that neighbours touch.
        const auto peak =
            levels_->peakOf(static_cast<int64_t>(std::floor(firstFrame)), static_cast<int64_t>(endFrame) + 1);
        if (!peak)
            continue;
        const auto yOf = [&](int16_t sample) { return middle - std::round(sample / 32768.0 * (middle - 1)); };
        const double top = yOf(peak->greatest);
        const double bottom = yOf(peak->least) + 1;
        const auto centre = static_cast<int64_t>((firstFrame + endFrame) / 2);
        painter.fillRect(QRectF(left, top / scale, 1 / scale, (bottom - top) / scale),
                         centre >= startFrame_ && centre < endFrame_ ? inside : outside);
    }
}

} // namespace kxplayer
