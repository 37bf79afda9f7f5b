// Geometry and painting of the transport bar.
#include "Tests/UI/BarTesting.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{

using bar::kLargest;
using bar::kSmallest;

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
}

TEST(PlayPositionView, SurvivesNoWidthAndNoFrames)
{
    for (const auto &[width, frames] :
         {std::pair(0.0, int64_t(44100)), {20.0, 44100}, {420.0, 0}, {420.0, kSmallest}}) {
        const auto view = bar::view(width, frames);
        EXPECT_EQ(view->_frame2X(kLargest), 10);
        for (const float x : {-1e30F, 11.0F, 1e30F, std::nanf("")})
            EXPECT_EQ(view->_x2Frame(x), 0) << "width " << width << ", frames " << frames << ", x " << x;
        EXPECT_GE(view->barBackLayer()->frame().size.width, 0);
    }
    const auto view = bar::view(420, 441000);
    EXPECT_EQ(view->_x2Frame(1e38F), 441000);
    EXPECT_EQ(view->_x2Frame(-1e38F), kSmallest);
    EXPECT_EQ(view->_x2Frame(std::nanf("")), 0);
}

TEST(PlayPositionView, LaysItsLayersOut)
{
    const auto view = bar::view(420, 441000);
    bar::setRange(*view, 44100, 220500);
    view->setPlayFrame(110250);
    view->setFrame({{300, 100}, {620, 60}});
    std::vector<double> places;
    for (const auto &layer : view->layer()->sublayers())
        places.push_back(layer->frame().origin.x);
    EXPECT_EQ(places, (std::vector<double>{10, 70, 60, 310, 160}));
    const std::vector<double> limits{view->startFrameLayer()->max(), view->endFrameLayer()->min(),
                                     view->endFrameLayer()->max()};
    EXPECT_EQ(limits, (std::vector<double>{250, 130, 610}));
    bar::setRange(*view, 220500, 44100);
    EXPECT_EQ(view->barForeLayer()->frame(), (NSRect{{310, 26}, {-240, 8}})) << "any range is drawn";
}

} // namespace
