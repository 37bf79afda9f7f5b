#pragma once

#include "Apps/kxplayer/Timeline/RangeRules.h"
#include "Apps/kxplayer/Timeline/TimelineModel.h"
#include "Apps/kxplayer/Timeline/WaveMask.h"

#include <QBasicTimer>
#include <QWidget>

#include <memory>
#include <optional>

class QNativeGestureEvent;

namespace kxplayer
{

class TimelineHandle;
class WavePainter;

/// Shows what a model has: a ruler, the waveform, the range and the play line; and takes the user's hands. The wheel
/// and a pinch zoom where the pointer is, Shift and the wheel pan; a drag in the waveform selects a range, a click puts
/// the line there, a press in the ruler moves it; the range's ends have grips, and a click with Shift sets the nearer
/// one. For the main thread.
class TimelineView : public QWidget
{
    Q_OBJECT

public:
    static constexpr int kMargin = 12; ///< points beside the waveform, which a grip has room in
    static constexpr int kRulerHeight = 30;

    /// The model outlives it.
    explicit TimelineView(TimelineModel &model, QWidget *parent = nullptr);

    [[nodiscard]] QSize sizeHint() const override { return {640, 180}; }
    [[nodiscard]] QSize minimumSizeHint() const override { return {160, kRulerHeight + 56}; }

    /// Where a frame is, in the widget.
    [[nodiscard]] double xOf(int64_t frame) const { return kMargin + model_.view().xOf(static_cast<double>(frame)); }
    /// Where the grip of an end is.
    [[nodiscard]] QRectF gripOf(RangeEnd end) const;
    [[nodiscard]] QRectF headOfLine() const;

signals:
    /// What is picked between these two is one step of the user's.
    void handBegan();
    void handEnded();
    void rangePicked(const kx::Range &range);
    void linePicked(qint64 frame);
    void loopRestarted();

protected:
    bool event(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void timerEvent(QTimerEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void leaveEvent(QEvent *event) override;

private:
    /// What a pressed button holds.
    enum class Hand : uint8_t { None, Press, Select, Line, Start, End };

    void placeHandles();
    void showLine(int64_t before);
    [[nodiscard]] QRect strip(double x) const;
    [[nodiscard]] QRect waveArea() const;
    [[nodiscard]] QString pointerText() const;
    [[nodiscard]] QRectF pointerLabel() const;
    void paintWave(QPainter &painter, const QRect &area);
    void paintParts(WavePainter &wave) const;
    [[nodiscard]] bool paintsPoints() const;
    void paintSamples(QPainter &painter) const;
    void paintLane(QPainter &painter, int channel, const QRectF &lane) const;
    void paintRuler(QPainter &painter) const;
    void paintRange(QPainter &painter) const;
    void paintGrip(QPainter &painter, RangeEnd end) const;
    void paintPointer(QPainter &painter) const;
    void paintLine(QPainter &painter) const;

    [[nodiscard]] double xOfEvent(const QMouseEvent &event) const;
    [[nodiscard]] kx::Frames frameAt(double x) const;
    [[nodiscard]] std::optional<RangeEnd> endAt(QPointF place) const;
    void begin(Hand hand);
    void drag();
    void point(std::optional<QPointF> place);
    void pinch(const QNativeGestureEvent &gesture);

    TimelineModel &model_;
    WaveMask mask_;
    WaveSource painted_; ///< what the mask was painted from
    TimelineHandle *lineHandle_;
    TimelineHandle *startHandle_;
    TimelineHandle *endHandle_;
    Hand hand_ = Hand::None;
    double pressedX_ = 0;
    double handX_ = 0;
    kx::Frames pressedFrame_{0};
    double gripOffset_ = 0; ///< from the pointer to what it holds
    std::optional<QPointF> pointer_;
    QBasicTimer dragging_; ///< while it is dragged beyond the edge
};

/// Frames, from a place to whole ones within a file.
[[nodiscard]] kx::Frames framesWithin(double frame, kx::Frames length);

} // namespace kxplayer
