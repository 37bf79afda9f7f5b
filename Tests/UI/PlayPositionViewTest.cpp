// Geometry and painting of the transport bar.
#include "Tests/UI/BarTesting.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{

using bar::kLargest;
using bar::kSmallest;

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

TEST(PlayPositionView, MapsFramesAndPlacesInSinglePrecision)
{
    const struct {
        double width;
        int64_t frames, frame;
        float place, x;
        int64_t frameAtX;
    } rows[] = {{420, 441000, 44100, 50, 5, -5512},
                {420, 441000, 441000, 410, 415, 441000},
                {2020, 8589946937, 4444444444, 1044.80139F, 1999.98999F, 8546954153}, // not 8546954210
                {333.3, 100000007, 33333333, 114.433319F, 99.9000015F, 28694545}};    // not 28694544
    for (const auto &row : rows) {
        const auto view = bar::view(row.width, row.frames);
        EXPECT_EQ(view->_frame2X(row.frame), row.place) << row.frame;
        EXPECT_EQ(view->_x2Frame(row.x), row.frameAtX) << row.x;
    }
    const auto view = bar::view(420, 441000);
    for (int x = 10; x <= 410; ++x) // each a whole or a half frame
        EXPECT_EQ(view->_x2Frame(float(x)), 441000 * (x - 10) / 400) << x;
}

TEST(PlayPositionView, SurvivesNoWidthAndNoFrames)
{
    for (const auto &[width, frames] :
         {std::pair(0.0, int64_t(44100)), {20.0, 44100}, {420.0, 0}, {420.0, -7}, {20.0, 0}, {420.0, kSmallest}}) {
        SCOPED_TRACE(testing::Message() << "width " << width << ", frames " << frames);
        const auto view = bar::view(width, frames);
        for (const int64_t frame : {int64_t(0), int64_t(44100), kLargest, kSmallest})
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
    view->setFrame({{300, 100}, {620, 60}});
    EXPECT_EQ(view->barBackLayer()->frame(), (NSRect{{10, 26}, {600, 8}}));
    EXPECT_EQ(view->barForeLayer()->frame(), (NSRect{{70, 26}, {240, 8}}));
    EXPECT_EQ(view->startFrameLayer()->frame(), (NSRect{{60, 16}, {10, 10}}));
    EXPECT_EQ(view->endFrameLayer()->frame(), (NSRect{{310, 16}, {10, 10}}));
    EXPECT_EQ(view->playFrameLayer()->frame(), (NSRect{{160, 26}, {0.5, 12}}));
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
