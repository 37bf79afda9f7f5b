#include "Apps/kxplayer/Timeline/TimelineView.h"
#include "Apps/kxplayer/Timeline/MiniMap.h"
#include "Tests/Support/Media.h"
#include "Tests/Toolkit/ToolkitTesting.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QWheelEvent>

#include <algorithm>

using kx::Frames;
using kx::Range;
using kxplayer::RangeEnd;

namespace
{

constexpr int kWidth = 424; // 400 points for the file
constexpr int64_t kLength = 400000;
constexpr int kWaveY = 80;
constexpr int kRulerY = 4;

/// The view of a file, obeying its own user.
class Timeline : public testing::Test
{
protected:
    Timeline()
    {
        QPalette palette(Qt::white);
        palette.setColor(QPalette::Base, Qt::white);
        palette.setColor(QPalette::Text, Qt::black);
        palette.setColor(QPalette::Highlight, Qt::blue);
        view.setPalette(palette);
        view.resize(kWidth, 160);
        view.show();
        QObject::connect(&view, &kxplayer::TimelineView::rangePicked, &model, &kxplayer::TimelineModel::setRange);
        QObject::connect(&view, &kxplayer::TimelineView::linePicked, &model, [this](int64_t frame) {
            model.moveLine(frame, false);
            ++lines;
        });
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&view));
        model.open(kx::test::make({.frames = kLength}), Frames(kLength));
        EXPECT_TRUE(QTest::qWaitFor([&] { return model.source().overview->hasEnded(); }, 60000));
    }

    void drag(QPoint from, QPoint to, Qt::KeyboardModifiers modifiers = {})
    {
        QTest::mousePress(&view, Qt::LeftButton, modifiers, from);
        QTest::mouseMove(&view, (from + to) / 2);
        QTest::mouseMove(&view, to);
        QTest::mouseRelease(&view, Qt::LeftButton, modifiers, to);
    }
    void turnWheel(QPoint place, int delta, Qt::KeyboardModifiers modifiers = {})
    {
        QWheelEvent event(place, view.mapToGlobal(QPointF(place)), {}, {0, delta}, Qt::NoButton, modifiers,
                          Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(&view, &event);
    }
    [[nodiscard]] Range range() const { return model.range(); }

    kxplayer::TimelineModel model;
    kxplayer::TimelineView view{model};
    int lines = 0;
};

TEST_F(Timeline, SelectsByDraggingAndPutsTheLineByClicking)
{
    drag({112, kWaveY}, {212, kWaveY});
    EXPECT_EQ(range(), (Range{Frames(100000), Frames(200000)}));
    EXPECT_EQ(lines, 0);
    QTest::mouseClick(&view, Qt::LeftButton, {}, {312, kWaveY});
    EXPECT_EQ(model.line(), 300000);
    EXPECT_EQ(range().start.count(), 100000) << "a click leaves the range";
    QTest::mouseClick(&view, Qt::LeftButton, Qt::ShiftModifier, {172, kWaveY});
    EXPECT_EQ(range().end.count(), 160000) << "the nearer end";
    const QPoint grip = view.gripOf(RangeEnd::Start).center().toPoint();
    drag(grip, grip + QPoint(-50, 0));
    EXPECT_EQ(range(), (Range{Frames(50000), Frames(160000)}));
    drag(view.gripOf(RangeEnd::End).center().toPoint(), {20, 150});
    EXPECT_EQ(range(), (Range{Frames(50000), Frames(50000) + kxplayer::kLeastRange})) << "up to the other end";
    drag({212, kWaveY}, {-30, kWaveY});
    EXPECT_EQ(range(), (Range{Frames(0), Frames(200000)})) << "up to the edge";

    drag(view.headOfLine().center().toPoint(), {112, kRulerY});
    EXPECT_EQ(model.line(), 100000);
    EXPECT_EQ(range().end.count(), 200000);
    int restarts = 0;
    QObject::connect(&view, &kxplayer::TimelineView::loopRestarted, [&] { ++restarts; });
    const int before = lines;
    for (const int x : {62, 362}) { // inside the range and beside it
        QTest::mouseDClick(&view, Qt::LeftButton, {}, {x, kWaveY});
        QTest::mouseRelease(&view, Qt::LeftButton, {}, {x, kWaveY});
    }
    EXPECT_EQ(restarts, 1);
    EXPECT_EQ(lines, before + 1) << "beside it each is a click";
}

TEST_F(Timeline, ZoomsAtThePointerAndPans)
{
    for (int i = 0; i < 12; ++i)
        turnWheel({112, kWaveY}, 120);
    EXPECT_NEAR(view.xOf(100000), 112, 0.5);
    EXPECT_NEAR(model.view().framesPerPixel(), 1000.0 / 16, 0.1);
    const double first = model.view().firstFrame();
    turnWheel({112, kWaveY}, -120, Qt::ShiftModifier);
    EXPECT_GT(model.view().firstFrame(), first);
    drag({112, kWaveY}, {113, kWaveY + 2});
    EXPECT_TRUE(!model.hasRange() && lines == 1) << "a hand that trembles";
    drag({112, kWaveY}, {122, kWaveY});
    EXPECT_NEAR(double(range().length().count()), 10 * model.view().framesPerPixel(), 1);
    const auto before = model.view();
    model.toggleZoomToRange();
    EXPECT_LT(model.view().span(), before.span() / 10);
    model.toggleZoomToRange();
    EXPECT_EQ(model.view(), before);

    kxplayer::MiniMap map(model);
    map.resize(kWidth, 38);
    const QPoint window = map.seen().center().toPoint();
    QTest::mousePress(&map, Qt::LeftButton, {}, window);
    QTest::mouseMove(&map, window + QPoint(100, 0));
    EXPECT_NEAR(model.view().firstFrame(), before.firstFrame() + 100000, 1500);
    QTest::mouseClick(&map, Qt::LeftButton, {}, {400, 10});
    EXPECT_TRUE(model.view().shows(388000));
}

TEST_F(Timeline, PaintsThePlayedPartTheRangeAndSingleSamples)
{
    model.moveLine(100000, false);
    model.setRange({Frames(200000), Frames(300000)});
    QApplication::processEvents();
    for (const double scale : {1.0, 1.5, 2.0}) {
        const QImage image = kx::test::picture(view, scale);
        const auto at = [&](double x, double y) { return image.pixelColor(int(x * scale), int(y * scale)); };
        const auto isBlue = [](const QColor &color) { return color.blue() > color.red() + 20; };
        EXPECT_TRUE(isBlue(at(60, 95)) && !isBlue(at(160, 95))) << "played up to the line, at " << scale;
        EXPECT_TRUE(isBlue(at(260, 30)) && !isBlue(at(160, 30)) && !isBlue(at(350, 30))) << "the range's ground";
        EXPECT_LT(at(112, 140).lightness(), 60) << "the line";
    }

    model.setView(model.view().showing(1000, 1010));
    view.repaint();
    ASSERT_TRUE(QTest::qWaitFor([&] { return model.source().samples != nullptr; }, 60000));
    const QImage image = kx::test::picture(view, 2);
    const auto source = kx::test::samples({.frames = kLength});
    for (int64_t frame = 1001; frame < 1009; ++frame) {
        const int sample = source[std::size_t(frame) * 2];
        const double y = 30 + 130 / 2.0 - sample / 32768.0 * (130 / 2.0 - 1);
        const QRect point(int(view.xOf(frame) * 2) - 1, int(y * 2) - 1, 3, 3);
        const QImage center = image.copy(point).scaled(1, 1, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        EXPECT_LT(center.pixelColor(0, 0).lightness(), 120) << "the point of " << frame;
    }
}

} // namespace
