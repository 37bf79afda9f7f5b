// Model, geometry and drawing of the transport bar.
#include "Tests/UI/BarTesting.h"

#include "KXFW/Platform/Toolkit/ViewClasses.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace
{

constexpr int64_t kLargestFrame = std::numeric_limits<int64_t>::max();
constexpr int64_t kSmallest = std::numeric_limits<int64_t>::min();

struct PaintedAreas : kx::LayerHost {
    void layersDidChange(const std::vector<NSRect> &areas) override
    {
        ++transactions;
        for (const NSRect &area : areas)
            right = std::max(right, CGRectGetMaxX(area));
    }

    int transactions = 0;
    double right = 0;
};

TEST(PlayPositionView, AwakesDisabledOverOneSecond)
{
    const auto view = std::dynamic_pointer_cast<KXPlayPositionView>(kx::ViewClasses::make("KXPlayPositionView"));
    ASSERT_TRUE(view);
    view->setWantsLayer(true);
    view->setFrame({{0, 0}, {420, 40}}); // a layout before there are layers
    view->awakeFromNib();
    EXPECT_EQ(view->numFrames(), 44100);
    EXPECT_EQ(view->endFrame(), 44100);
    EXPECT_FALSE(view->enabled());
    const std::vector<std::shared_ptr<CALayer>> bottomUp{view->barBackLayer(), view->barForeLayer(),
                                                         view->startFrameLayer(), view->endFrameLayer(),
                                                         view->playFrameLayer()};
    EXPECT_EQ(view->layer()->sublayers(), bottomUp);
    EXPECT_TRUE(view->barForeLayer()->masksToBounds());
    EXPECT_EQ(view->startFrameLayer()->min(), 10);

    const auto listener = std::make_shared<bar::Listener>();
    EXPECT_FALSE(view->setOutlet("delegate", view)) << "a view is none";
    EXPECT_FALSE(view->setOutlet("other", listener));
    EXPECT_TRUE(view->setOutlet("delegate", listener));
    EXPECT_EQ(view->delegate(), listener);
}

TEST(PlayPositionView, MapsFramesAndPlacesInItsPrecisions)
{
    const auto view = bar::view(420, 441000);
    for (const auto &[frame, x] : {std::pair(0, 10.0F), {44100, 50.0F}, {220500, 210.0F}, {441000, 410.0F}})
        EXPECT_EQ(view->_frame2X(frame), x) << frame;
    for (const auto &[x, frame] : {std::pair(415.0F, 441000), {5.0F, -5512}})
        EXPECT_EQ(view->_x2Frame(x), frame) << x;
    for (int x = 10; x <= 410; ++x) // each a whole or a half frame
        EXPECT_EQ(view->_x2Frame(float(x)), 441000 * (x - 10) / 400) << x;

    const unsigned seed = 20240607;
    std::mt19937_64 random(seed);
    for (int round = 0; round < 2000; ++round) {
        const double width = std::uniform_real_distribution(21.0, 4000.0)(random);
        const int64_t frames = std::uniform_int_distribution<int64_t>(1, int64_t(1) << (1 + random() % 40))(random);
        const int64_t frame = std::uniform_int_distribution<int64_t>(0, frames)(random);
        const float x = std::uniform_real_distribution(0.0F, 4000.0F)(random);
        SCOPED_TRACE(testing::Message() << "seed " << seed << ", round " << round << ": width " << width << ", frames "
                                        << frames << ", frame " << frame << ", x " << x);
        view->setFrame({{0, 0}, {width, 40}});
        view->setNumFrames(frames);
        const float bar = static_cast<float>(width - 20.0);
        float place = bar * static_cast<float>(frame);
        place /= static_cast<float>(frames);
        ASSERT_EQ(view->_frame2X(frame), place + 10.0F);
        double found = static_cast<float>(frames);
        found *= static_cast<double>(x) - 10.0;
        ASSERT_EQ(view->_x2Frame(x), std::min(static_cast<int64_t>(found / bar), frames));
    }
}

TEST(PlayPositionView, SurvivesNoWidthAndNoFrames)
{
    for (const auto &[width, frames] :
         {std::pair(0.0, int64_t(44100)), {20.0, 44100}, {420.0, 0}, {420.0, -7}, {20.0, 0}, {420.0, kSmallest}}) {
        SCOPED_TRACE(testing::Message() << "width " << width << ", frames " << frames);
        const auto view = bar::view(width, frames);
        for (const int64_t frame : {int64_t(0), int64_t(44100), kLargestFrame, kSmallest})
            EXPECT_EQ(view->_frame2X(frame), 10);
        for (const float x : {-1e30F, 0.0F, 11.0F, 1e30F, std::nanf("")})
            EXPECT_EQ(view->_x2Frame(x), 0);
        EXPECT_GE(view->barBackLayer()->frame().size.width, 0);
    }
    const auto view = bar::view(420, 441000);
    EXPECT_EQ(view->_x2Frame(1e38F), 441000);
    EXPECT_EQ(view->_x2Frame(-1e38F), kSmallest);
    EXPECT_EQ(view->_x2Frame(std::nanf("")), 0);

    const auto bare = std::make_shared<KXPlayPositionView>(); // without a root layer
    bare->awakeFromNib();
    bare->setEnabled(true);
    bare->mouseDown(NSEvent({0, 0}));
    EXPECT_EQ(bare->draggingLayer(), nullptr);
}

TEST(PlayPositionView, LaysItsLayersOut)
{
    const auto view = bar::view(420, 441000);
    bar::setRange(*view, 44100, 220500);
    view->setPlayFrame(110250);
    for (const bool enabled : {true, false}) {
        SCOPED_TRACE(testing::Message() << "enabled " << enabled);
        view->setEnabled(enabled);
        EXPECT_EQ(view->barBackLayer()->frame(), (NSRect{{10, 16}, {400, 8}}));
        EXPECT_EQ(view->barForeLayer()->frame(), (NSRect{{50, 16}, {160, 8}}));
        EXPECT_EQ(view->startFrameLayer()->frame(), (NSRect{{40, 6}, {10, 10}}));
        EXPECT_EQ(view->endFrameLayer()->frame(), (NSRect{{210, 6}, {10, 10}}));
        EXPECT_EQ(view->playFrameLayer()->frame(), (NSRect{{110, 16}, {0.5, 12}}));
        const CGPath::Figure rectangle{{{0, 0}, {160, 0}, {160, 8}, {0, 8}}, true};
        EXPECT_EQ(view->barForeLayer()->path()->figures(), std::vector{rectangle});

        const NSColor line{0, 0, 0, enabled ? 1.0 : 0.3};
        EXPECT_EQ(view->barBackLayer()->strokeColor(), line);
        EXPECT_EQ(view->barBackLayer()->fillColor(), std::nullopt);
        EXPECT_EQ(view->playFrameLayer()->strokeColor(), line);
        EXPECT_EQ(view->playFrameLayer()->fillColor(), line);
        EXPECT_EQ(view->barForeLayer()->fillColor(), (NSColor{0.31, 0.37, 0.73, enabled ? 0.8 : 0.3}));
        EXPECT_EQ(view->barForeLayer()->strokeColor(), std::nullopt);
        EXPECT_EQ(view->startFrameLayer()->enabled(), enabled);
        EXPECT_EQ(view->endFrameLayer()->enabled(), enabled);
    }
    view->setFrame({{300, 100}, {620, 60}});
    EXPECT_EQ(view->barBackLayer()->frame(), (NSRect{{10, 26}, {600, 8}}));
    EXPECT_EQ(view->barForeLayer()->frame(), (NSRect{{70, 26}, {240, 8}}));
    EXPECT_EQ(view->startFrameLayer()->hotSpot(), (NSPoint{70, 26}));
    EXPECT_EQ(view->endFrameLayer()->hotSpot(), (NSPoint{310, 26}));
    EXPECT_EQ(view->startFrameLayer()->max(), 250);
    EXPECT_EQ(view->endFrameLayer()->min(), 130);
    EXPECT_EQ(view->endFrameLayer()->max(), 610);
    bar::setRange(*view, 220500, 44100);
    EXPECT_EQ(view->barForeLayer()->frame(), (NSRect{{310, 26}, {-240, 8}})) << "any range is drawn";
}

TEST(PlayPositionView, LaysOutForAnUnchangedValueAndPaintsNothing)
{
    const auto view = bar::view(420, 441000);
    PaintedAreas painted;
    view->layer()->setHost(&painted);
    const std::function<void()> setters[] = {[&] { view->setStartFrame(0); }, [&] { view->setEndFrame(441000); },
                                             [&] { view->setPlayFrame(0); }, [&] { view->setNumFrames(441000); },
                                             [&] { view->setEnabled(true); }};
    for (const auto &set : setters) {
        view->playFrameLayer()->setPosition({200, 0});
        set();
        EXPECT_EQ(view->playFrameLayer()->position(), (NSPoint{10, 16})) << &set - setters;
        painted = {};
        set();
        EXPECT_EQ(painted.transactions, 0) << &set - setters;
    }
    view->setPlayFrame(4410);
    EXPECT_EQ(painted.transactions, 1);
    EXPECT_LT(painted.right, 30) << "a step of the play line paints its surroundings only";
    view->layer()->setHost(nullptr);
}

} // namespace
