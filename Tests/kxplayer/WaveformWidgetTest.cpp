#include "Apps/kxplayer/WaveformWidget.h"
#include "Tests/Toolkit/ToolkitTesting.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QPaintEvent>
#include <QTest>

#include <cmath>

using kxplayer::WaveformLevels;
using kxplayer::WaveformWidget;

namespace
{

constexpr int kWidth = 420; // 400 points for the file
constexpr int kHeight = 60;
constexpr int64_t kFrames = 400000;

/// The levels of silence with one full-scale click.
std::shared_ptr<WaveformLevels> click(int64_t frame)
{
    std::vector<int16_t> samples(kFrames * 2);
    samples[static_cast<std::size_t>(frame * 2)] = INT16_MAX;
    samples[static_cast<std::size_t>(frame * 2 + 1)] = INT16_MIN;
    auto levels = std::make_shared<WaveformLevels>(kFrames);
    levels->add(samples);
    levels->end();
    return levels;
}

/// The widget, and what it is asked to paint once it is shown.
class Waveform : public testing::Test, public QObject
{
protected:
    Waveform()
    {
        QPalette palette(Qt::white);
        palette.setColor(QPalette::Base, Qt::white);
        palette.setColor(QPalette::Highlight, Qt::blue);
        widget.setPalette(palette);
        widget.resize(kWidth, kHeight);
    }

    void show()
    {
        widget.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&widget));
        QCoreApplication::processEvents();
        widget.installEventFilter(this);
    }
    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::Paint)
            painted += static_cast<QPaintEvent *>(event)->region();
        return false;
    }
    /// Waits until something is painted as far as `right`. Gives what was since the last time.
    QRect paintedTo(int right)
    {
        EXPECT_TRUE(QTest::qWaitFor([&] { return painted.boundingRect().right() >= right; }));
        return std::exchange(painted, {}).boundingRect();
    }
    QImage picture(double scale = 1) { return kx::test::picture(widget, scale); }

    WaveformWidget widget;
    QRegion painted;
};

TEST_F(Waveform, DrawsEachFrameInItsPlaceAtEveryScale)
{
    constexpr int64_t frame = 123456;
    widget.setLevels(click(frame));
    const QRgb back = QColor(Qt::white).rgb();
    for (const double scale : {1.0, 1.25, 1.5, 2.0, 3.0}) {
        const QImage image = picture(scale);
        const int x = static_cast<int>((10 + 400.0 * frame / kFrames) * scale);
        const int middle = static_cast<int>(std::floor(kHeight * scale / 2));
        for (int column = 0; column < image.width(); ++column) {
            const bool isInFile = column >= std::floor(10 * scale) && column < std::ceil(410 * scale);
            EXPECT_EQ(image.pixel(column, middle) != back, isInFile) << scale << " column " << column;
            // The click stands in its column; in the one before too where they share a block.
            const bool isHigh = image.pixel(column, 2) != back && image.pixel(column, image.height() - 3) != back;
            EXPECT_TRUE(isHigh ? std::abs(column - x) <= 1 : column != x) << scale << " column " << column;
        }
    }
}

TEST_F(Waveform, TintsTheRangeAndPaintsOnlyWhatChanges)
{
    widget.setLevels(click(0));
    widget.setRange(100000, 200000); // 110 to 210
    const QImage image = picture();
    EXPECT_EQ(image.pixel(108, 5), QColor(Qt::white).rgb());
    EXPECT_NE(image.pixel(111, 5), QColor(Qt::white).rgb());
    EXPECT_EQ(image.pixel(209, kHeight / 2), QColor(Qt::blue).rgb());
    EXPECT_NE(image.pixel(211, kHeight / 2), QColor(Qt::blue).rgb());

    show();
    widget.setRange(100000, 250000);
    const QRect area = paintedTo(259);
    EXPECT_TRUE(QRect(208, 0, 54, kHeight).contains(area) && area.contains(QRect(210, 0, 50, kHeight)));
    widget.setRange(100000, 250000);
    QCoreApplication::processEvents();
    EXPECT_TRUE(painted.isEmpty()) << "nothing has changed";
}

TEST_F(Waveform, PaintsWhatGrowsAsItGrows)
{
    const auto levels = std::make_shared<WaveformLevels>(kFrames);
    const std::vector<int16_t> half(kFrames); // 200,000 frames
    widget.setLevels(levels);
    show();
    const auto isDrawn = [&](int x) { return picture().pixelColor(x, kHeight / 2) != QColor(Qt::white); };
    levels->add(half);
    EXPECT_LE(paintedTo(209).right(), 211);
    EXPECT_TRUE(isDrawn(208));
    EXPECT_FALSE(isDrawn(212));
    painted = {};
    levels->add(half);
    levels->end();
    EXPECT_GE(paintedTo(409).left(), 207);
    EXPECT_TRUE(isDrawn(408));
}

TEST_F(Waveform, ShowsThePlayLineAndTellsTheFramesThatArePointedAt)
{
    QList<qint64> frames;
    QObject::connect(&widget, &WaveformWidget::pointed, [&](qint64 frame) { frames << frame; });
    QTest::mouseClick(&widget, Qt::LeftButton, {}, {210, 5});
    EXPECT_TRUE(frames.isEmpty()) << "there is no file";

    widget.setLevels(click(0));
    widget.setPlayFrame(200000);
    show();
    widget.setPlayFrame(300000);
    ASSERT_TRUE(QTest::qWaitFor([&] { return painted.contains(QPoint(310, 5)); }));
    EXPECT_TRUE(painted.contains(QPoint(210, 5)) && !painted.contains(QPoint(260, 5))) << "the line's two places";
    const QImage image = picture();
    EXPECT_EQ(image.pixel(310, 2), QColor(Qt::black).rgb());
    EXPECT_NE(image.pixel(210, 2), QColor(Qt::black).rgb());

    QTest::mousePress(&widget, Qt::LeftButton, {}, {110, 5});
    QTest::mouseMove(&widget, {160, 5});
    QTest::mouseMove(&widget, {-50, 300});
    QTest::mouseRelease(&widget, Qt::LeftButton, {}, {-50, 300});
    QTest::mouseMove(&widget, {210, 5});
    EXPECT_EQ(frames, (QList<qint64>{100000, 150000, 0}));
    QMouseEvent press(QEvent::MouseButtonPress, {211, 5}, {210.5, 5}, widget.mapToGlobal(QPointF(211, 5)),
                      Qt::LeftButton, Qt::LeftButton, {}); // as on a screen with more pixels than points
    QCoreApplication::sendEvent(&widget, &press);
    EXPECT_EQ(frames.last(), 200500);
}

} // namespace
