#pragma once

#include "Apps/kxplayer/WaveformLevels.h"

#include <QBasicTimer>
#include <QWidget>

#include <memory>
#include <optional>

namespace kxplayer
{

/// Draws the peaks of a file over its whole width, in line with the transport bar, the loop range in another colour,
/// and the play line. While peaks are still being computed it looks for more a few times a second and paints what is
/// new.
class WaveformWidget : public QWidget
{
    Q_OBJECT

public:
    explicit WaveformWidget(QWidget *parent = nullptr);

    /// Shows these peaks; null for none, which invites to drop a file.
    void setLevels(std::shared_ptr<const WaveformLevels> levels);
    /// The loop range: start inclusive, end exclusive, any values.
    void setRange(int64_t startFrame, int64_t endFrame);
    /// Where the play line is, any value; at first there is none.
    void setPlayFrame(int64_t frame);
    /// Where a frame lies; frames outside the file lie at its ends.
    [[nodiscard]] double xOfFrame(int64_t frame) const;

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

signals:
    /// A press or a drag of the left button is at this frame, which is within the file.
    void pointed(qint64 frame);

protected:
    void paintEvent(QPaintEvent *event) override;
    void timerEvent(QTimerEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;

private:
    [[nodiscard]] QRectF track() const;
    void updateBetween(int64_t frame, int64_t otherFrame);
    void showGrowth();
    void point(const QMouseEvent &event);
    [[nodiscard]] QRectF playLine() const;
    void paintBack(QPainter &painter) const;
    void paintInvitation(QPainter &painter) const;
    void paintColumns(QPainter &painter, const QRect &area) const;

    std::shared_ptr<const WaveformLevels> levels_;
    int64_t startFrame_ = 0;
    int64_t endFrame_ = 0;
    std::optional<int64_t> playFrame_;
    int64_t shownFrames_ = 0; ///< of the peaks that are known, those that were painted or are about to be
    QBasicTimer growthTimer_;
};

} // namespace kxplayer
