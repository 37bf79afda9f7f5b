#include "Apps/kxplayer/WaveformWidget.h"

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

/// Silence with one full-scale click.
std::vector<int16_t> click(int64_t frame)
{
    std::vector<int16_t> samples(kFrames * 2);
    samples[static_cast<std::size_t>(frame * 2)] = INT16_MAX;
    samples[static_cast<std::size_t>(frame * 2 + 1)] = INT16_MIN;
    return samples;
}

std::shared_ptr<WaveformLevels> levelsOf(const std::vector<int16_t> &samples)
{
    auto levels = std::make_shared<WaveformLevels>(kFrames);
    levels->add(samples);
    levels->end();
    return levels;
}

QImage picture(WaveformWidget &widget, double scale)
{
    QImage image((QSizeF(widget.size()) * scale).toSize(), QImage::Format_RGB32);
    image.setDevicePixelRatio(scale);
    image.fill(widget.palette().color(QPalette::Window));
    widget.render(&image, {}, {}, {});
    return image;
}

QPalette paletteOf(QColor base, QColor text, QColor highlight)
{
    QPalette palette;
    palette.setColor(QPalette::Window, base);
    palette.setColor(QPalette::Base, base);
    palette.setColor(QPalette::Text, text);
    palette.setColor(QPalette::Highlight, highlight);
    return palette;
}

/// Adds up what a widget is asked to paint.
class PaintedArea : public QObject
{
public:
    QRegion take() { return std::exchange(region_, {}); }

private:
    bool eventFilter(QObject * /*object*/, QEvent *event) override
    {
        if (event->type() == QEvent::Paint)
            region_ += static_cast<QPaintEvent *>(event)->region();
        return false;
    }
    QRegion region_;
};

TEST(WaveformWidget, DrawsEachFrameInItsPlaceAtEveryScaleAndInBothPalettes)
{
    WaveformWidget widget;
    widget.resize(kWidth, kHeight);
    constexpr int64_t frame = 123456;
    widget.setLevels(levelsOf(click(frame)));
    EXPECT_DOUBLE_EQ(widget.xOfFrame(frame), 10 + 400.0 * frame / kFrames);
    const QPalette palettes[] = {paletteOf(Qt::white, Qt::black, Qt::blue),
                                 paletteOf(QColor(30, 30, 30), Qt::white, Qt::cyan)};
    for (const QPalette &palette : palettes) {
        widget.setPalette(palette);
        for (const double scale : {1.0, 1.25, 1.5, 2.0, 3.0}) {
            const QImage image = picture(widget, scale);
            const QRgb back = palette.color(QPalette::Base).rgb();
            const int x = static_cast<int>(widget.xOfFrame(frame) * scale);
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
}

TEST(WaveformWidget, TintsTheRangeAndPaintsOnlyWhatChanges)
{
    const QPalette palette = paletteOf(Qt::white, Qt::black, Qt::blue);
    WaveformWidget widget;
    widget.setPalette(palette);
    widget.resize(kWidth, kHeight);
    widget.setLevels(levelsOf(click(0)));
    widget.setRange(100000, 200000); // 110 to 210
    const QImage image = picture(widget, 1);
    EXPECT_EQ(image.pixel(108, 5), QColor(Qt::white).rgb());
    EXPECT_NE(image.pixel(111, 5), QColor(Qt::white).rgb());
    EXPECT_EQ(image.pixel(209, kHeight / 2), QColor(Qt::blue).rgb());
    EXPECT_NE(image.pixel(211, kHeight / 2), QColor(Qt::blue).rgb());

    PaintedArea painted;
    widget.installEventFilter(&painted);
    widget.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&widget));
    QCoreApplication::processEvents();
    painted.take();
    widget.setRange(100000, 250000);
    QRegion region;
    ASSERT_TRUE(QTest::qWaitFor([&] { return !(region += painted.take()).isEmpty(); }));
    EXPECT_TRUE(QRect(208, 0, 54, kHeight).contains(region.boundingRect()));
    EXPECT_TRUE(region.boundingRect().contains(QRect(210, 0, 50, kHeight)));
    widget.setRange(100000, 250000);
    QCoreApplication::processEvents();
    EXPECT_TRUE(painted.take().isEmpty()) << "nothing has changed";
}

TEST(WaveformWidget, PaintsWhatGrowsAsItGrows)
{
    WaveformWidget widget;
    widget.resize(kWidth, kHeight);
    const auto levels = std::make_shared<WaveformLevels>(kFrames);
    const std::vector<int16_t> half(kFrames); // 200,000 frames
    PaintedArea painted;
    widget.setLevels(levels);
    widget.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&widget));
    QCoreApplication::processEvents();
    widget.installEventFilter(&painted);
    const auto isDrawn = [&](int x) {
        return picture(widget, 1).pixel(x, kHeight / 2) != widget.palette().color(QPalette::Base).rgb();
    };
    levels->add(half);
    QRegion region;
    ASSERT_TRUE(QTest::qWaitFor([&] { return (region += painted.take()).boundingRect().right() >= 209; }));
    EXPECT_LE(region.boundingRect().right(), 211);
    EXPECT_TRUE(isDrawn(208));
    EXPECT_FALSE(isDrawn(212));
    painted.take();
    levels->add(half);
    levels->end();
    region = {};
    ASSERT_TRUE(QTest::qWaitFor([&] { return (region += painted.take()).boundingRect().right() >= 409; }));
    EXPECT_GE(region.boundingRect().left(), 207);
    EXPECT_TRUE(isDrawn(408));
}

TEST(WaveformWidget, ShowsThePlayLineAndTellsTheFramesThatArePointedAt)
{
    WaveformWidget widget;
    widget.setPalette(paletteOf(Qt::white, Qt::black, Qt::blue));
    widget.resize(kWidth, kHeight);
    QList<qint64> frames;
    QObject::connect(&widget, &WaveformWidget::pointed, [&](qint64 frame) { frames << frame; });
    QTest::mouseClick(&widget, Qt::LeftButton, {}, {210, 5});
    EXPECT_TRUE(frames.isEmpty()) << "there is no file";

    widget.setLevels(levelsOf(click(0)));
    widget.setPlayFrame(200000);
    PaintedArea painted;
    widget.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&widget));
    QCoreApplication::processEvents();
    widget.installEventFilter(&painted);
    widget.setPlayFrame(300000);
    QRegion region;
    ASSERT_TRUE(QTest::qWaitFor([&] { return !(region += painted.take()).isEmpty(); }));
    EXPECT_LE(region.boundingRect().left(), 210);
    EXPECT_FALSE(region.contains(QPoint(260, 5))) << "only the line's old and new place";
    const QImage image = picture(widget, 1);
    EXPECT_EQ(image.pixel(310, 2), QColor(Qt::black).rgb());
    EXPECT_NE(image.pixel(210, 2), QColor(Qt::black).rgb());

    QTest::mousePress(&widget, Qt::LeftButton, {}, {110, 5});
    QTest::mouseMove(&widget, {160, 5});
    QTest::mouseMove(&widget, {-50, 300});
    QTest::mouseRelease(&widget, Qt::LeftButton, {}, {-50, 300});
    QTest::mouseMove(&widget, {210, 5});
    EXPECT_EQ(frames, (QList<qint64>{100000, 150000, 0}));
}

} // namespace
