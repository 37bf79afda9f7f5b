#pragma once

#include "Apps/kxplayer/Timeline/TimelineModel.h"
#include "Apps/kxplayer/Timeline/WaveMask.h"

#include <QWidget>

namespace kxplayer
{

/// The whole file in small below its timeline, with the part that is seen there as a window that can be dragged, as in
/// a scroll bar; a press beside it brings it there. For the main thread.
class MiniMap : public QWidget
{
    Q_OBJECT

public:
    /// The model outlives it.
    explicit MiniMap(TimelineModel &model, QWidget *parent = nullptr);

    [[nodiscard]] QSize sizeHint() const override { return {640, 38}; }
    [[nodiscard]] QSize minimumSizeHint() const override { return {160, 38}; }
    /// The part that is seen.
    [[nodiscard]] QRectF seen() const;

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;

private:
    [[nodiscard]] QRect area() const;
    [[nodiscard]] double framesPerPoint() const;
    [[nodiscard]] double xOf(double frame) const;
    void paintWave(QPainter &painter, const QRect &dirty);
    void paintWindow(QPainter &painter) const;

    TimelineModel &model_;
    WaveMask mask_;
    std::shared_ptr<const Overview> painted_;
    double heldFrames_ = 0; ///< from the window's begin to where it is held
};

} // namespace kxplayer
