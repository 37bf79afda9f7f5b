// What stands behind the timeline, without a window.
#include "Apps/kxplayer/TimeText.h"
#include "Apps/kxplayer/Timeline/History.h"
#include "Apps/kxplayer/Timeline/RangeRules.h"
#include "Apps/kxplayer/Timeline/Ruler.h"
#include "Apps/kxplayer/Timeline/WaveMask.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>

using namespace kxplayer;

namespace
{

/// A number of 1 to `most`, each order of magnitude as likely as the others.
double anyUpTo(double most, std::mt19937 &random)
{
    return std::exp(std::uniform_real_distribution(0.0, std::log(most))(random));
}

Viewport anyView(std::mt19937 &random)
{
    const Viewport all(static_cast<int64_t>(anyUpTo(1e12, random)), anyUpTo(4000, random));
    const double x = std::uniform_real_distribution(0.0, all.width())(random);
    return all.zoomedAt(x, anyUpTo(1e9, random));
}

TEST(Viewport, KeepsWhatIsUnderThePointerAndStaysInTheFile)
{
    std::mt19937 random(3);
    for (int i = 0; i < 3000; ++i) {
        const Viewport view = anyView(random);
        const auto frames = static_cast<double>(view.numFrames());
        const double x = std::uniform_real_distribution(0.0, view.width())(random);
        const double before = view.frameAt(x);
        EXPECT_NEAR(view.xOf(before), x, 1e-3);
        for (const Viewport &other :
             {view, view.zoomedAt(x, 3), view.zoomedAt(x, 0.2), view.pannedBy(1e5), view.pannedBy(-77),
              view.resized(anyUpTo(3000, random)), followed(view, before, before + frames / 7, Follow::Page)}) {
            EXPECT_TRUE(other.firstFrame() >= 0 && other.endFrame() <= frames * (1 + 1e-9) + 1e-6) << i;
            EXPECT_GE(other.framesPerPixel(), std::min(Viewport::kLeastFramesPerPixel, frames / other.width()));
        }
        EXPECT_NEAR(view.zoomedAt(x, 1.5).frameAt(x), before, 1e-6 * frames) << "nothing limits a closer look";
        EXPECT_TRUE(view.zoomedAt(x, 1e-20).showsAll() && view.all().resized(55).showsAll());
        const double start = std::uniform_real_distribution(0.0, frames)(random);
        const double end = std::uniform_real_distribution(start, frames)(random);
        const Viewport shown = view.showing(start, end);
        EXPECT_TRUE(shown.firstFrame() <= start && shown.endFrame() >= end * (1 - 1e-9)) << start << " " << end;
    }
}

TEST(Viewport, FollowsALineThatWasSeen)
{
    const Viewport view = Viewport(100000, 100).zoomedAt(50, 10).startingAt(20000); // to 30,000
    EXPECT_EQ(followed(view, 29000, 29900, Follow::Page), view);
    EXPECT_EQ(followed(view, 29900, 30100, Follow::Page).firstFrame(), 30100 - 500);
    EXPECT_EQ(followed(view, 29900, 5000, Follow::Page).firstFrame(), 4500) << "a loop's start";
    EXPECT_EQ(followed(view, 31000, 31100, Follow::Page), view) << "the user looks elsewhere";
    EXPECT_EQ(followed(view, 29900, 30100, Follow::Not), view);
    EXPECT_EQ(followed(view, 21000, 21100, Follow::Continuous), view);
    EXPECT_EQ(followed(view, 26000, 26100, Follow::Continuous).firstFrame(), 20100);
}

TEST(Ruler, HasRoomForEveryLabelAtEveryZoomAndTellsItsTime)
{
    std::mt19937 random(5);
    for (int i = 0; i < 3000; ++i) {
        const Viewport view = anyView(random);
        const auto ticks = ticksOf(view, 7);
        EXPECT_LE(double(ticks.size()), view.width() / 4 + 9);
        double before = -1;
        double free = -INFINITY;
        for (const Tick &tick : ticks) {
            EXPECT_GT(tick.frame, before);
            before = tick.frame;
            if (tick.label.empty())
                continue;
            EXPECT_GE(view.xOf(tick.frame), free) << tick.label;
            free = view.xOf(tick.frame) + 7.0 * double(tick.label.size()) + 4;
            const bool isFrame = tick.label.find(':') == std::string::npos;
            const int64_t told = isFrame ? std::stoll(tick.label) : framesOfText(tick.label).value_or(-1);
            EXPECT_NEAR(double(told), tick.frame, 0.51) << tick.label;
        }
    }
}

TEST(RangeRules, KeepRangesInTheFileAndAtLeastAMillisecondLong)
{
    std::mt19937 random(9);
    for (int i = 0; i < 5000; ++i) {
        const kx::Frames length(static_cast<int64_t>(anyUpTo(1e6, random)));
        const auto any = [&] {
            return kx::Frames(std::uniform_int_distribution<int64_t>(-50, length.count() + 50)(random));
        };
        const kx::Range range = rangeBetween(any(), any(), length);
        const kx::Frames to = any();
        for (const RangeEnd end : {RangeEnd::Start, RangeEnd::End})
            for (const kx::Range &moved :
                 {range, withEndDragged(range, end, to, length), withEndSet(range, end, to, length)})
                EXPECT_TRUE(moved.start.count() >= 0 && moved.end <= length &&
                            moved.length() >= std::min(kLeastRange, length));
        const bool opens = to >= range.end && length > kLeastRange;
        EXPECT_TRUE(!opens || withEndSet(range, RangeEnd::Start, to, length).end == length);
        EXPECT_TRUE(to > range.start || withEndSet(range, RangeEnd::End, to, length).start.count() == 0);
        const kx::Frames line = std::clamp(to, kx::Frames(0), length);
        const kx::Range played = loopOnTheWay(range, line, length);
        EXPECT_TRUE(played.start <= line && line <= played.end && played.end >= range.end) << "it does not jump";
        EXPECT_TRUE(line >= range.start || played.end == range.end) << "it turns where the loop does";
    }
    EXPECT_EQ(endNearTo({kx::Frames(10), kx::Frames(20)}, kx::Frames(14)), RangeEnd::Start);
    EXPECT_EQ(endNearTo({kx::Frames(10), kx::Frames(20)}, kx::Frames(90)), RangeEnd::End);
    const int16_t samples[] = {-5, -4, 3, -2, 4, 4, 9, -9};
    EXPECT_EQ(nearestCrossing(samples, 0), 1);
    EXPECT_EQ(nearestCrossing(samples, 3), 3);
    EXPECT_EQ(nearestCrossing({}, 3), 3);
}

TEST(History, GoesBackAndForthBySteps)
{
    History<int> history(0);
    history.change(1);
    for (const int state : {2, 3, 4})
        history.change(state, 7);
    history.change(5, 8);
    history.change(5);
    EXPECT_EQ(history.undo(), 4);
    EXPECT_EQ(history.undo(), 1) << "one step";
    EXPECT_EQ(history.redo(), 4);
    history.change(6, 7);
    EXPECT_FALSE(history.canRedo());
    EXPECT_EQ(history.undo(), 4) << "it joins nothing across an undo";
    for (int i = 10; i < 3000; ++i)
        history.change(i);
    int steps = 0;
    while (history.canUndo() && ++steps)
        history.undo();
    EXPECT_EQ(steps, int(History<int>::kMostSteps));
    history.begin(9);
    EXPECT_FALSE(history.canUndo() || history.canRedo());
}

TEST(WaveMask, LooksTheSameHoweverOneGotThere)
{
    std::mt19937 random(11);
    constexpr int64_t frames = 200000;
    std::vector<int16_t> samples(frames * 2);
    std::ranges::generate(samples, [&] { return static_cast<int16_t>(random()); });
    const auto overview = std::make_shared<Overview>(frames);
    const WaveSource source{overview, nullptr};
    const WaveLook look{97, 40, 1500, true, 1.5};
    WaveMask panned;
    panned.setLook(look);
    for (int i = 0; i < 60; ++i) {
        if (i < 40)
            overview->add(std::span(samples).subspan(std::size_t(i) * 10000, 10000));
        if (i == 40)
            overview->end();
        const int64_t first = std::uniform_int_distribution<int64_t>(0, 60)(random);
        panned.paint(first, source);
        WaveMask anew;
        anew.setLook(look);
        anew.paint(first, source);
        for (int row = 0; row < look.height; ++row) {
            std::array<uint32_t, 97> one{};
            std::array<uint32_t, 97> other{};
            panned.color(row, first, {0, 1, 2, 3}, one);
            anew.color(row, first, {0, 1, 2, 3}, other);
            ASSERT_EQ(one, other) << i << " row " << row;
        }
    }
}

} // namespace
