#pragma once

#include "Apps/kxplayer/WaveformLevels.h"

#include <QBasicTimer>
#include <QWidget>

#include <memory>

namespace kxplayer
{

/// Draws the peaks of a file over its whole width, in line with the transport bar, and the loop range in another
/// colour. While peaks are still being computed it looks for more a few times a second and paints what is new.
class WaveformWidget : public QWidget
{
public:
    explicit WaveformWidget(QWidget *parent = nullptr);

    /// Shows these peaks; null for none.
    void setLevels(std::shared_ptr<const WaveformLevels> levels);
    /// The loop range: start inclusive, end exclusive, any values.
    void setRange(int64_t startFrame, int64_t endFrame);
    /// Where a frame lies; frames outside the file lie at its ends.
    [[nodiscard]] double xOfFrame(int64_t frame) const;

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;
    void timerEvent(QTimerEvent *event) override;

private:
    [[nodiscard]] QRectF track() const;
    void updateBetween(int64_t frame, int64_t otherFrame);
    void showGrowth();
    void paintBack(QPainter &painter) const;
    void paintColumns(QPainter &painter, const QRect &area) const;

    std::shared_ptr<const WaveformLevels> levels_;
    int64_t startFrame_ = 0;
    int64_t endFrame_ = 0;
    int64_t shownFrames_ = 0; ///< of the peaks that are known, those that were painted or are about to be
    QBasicTimer growthTimer_;
};

} // namespace kxplayer
