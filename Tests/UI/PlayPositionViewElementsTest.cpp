// The transport bar for keys and screen readers.
#include "Tests/UI/BarTesting.h"

#include "KXFW/Platform/Toolkit/SliderElement.h"
#include "KXFW/UI/SpokenTime.h"

#include <gtest/gtest.h>

#include <limits>

namespace
{

using bar::Heard;

constexpr int64_t kLargest = std::numeric_limits<int64_t>::max();

TEST(SpokenTime, SaysHoursMinutesSeconds)
{
    const std::pair<int64_t, const char *> times[] = {{0, "0 seconds"},
                                                      {-44100, "0 seconds"},
                                                      {44100, "1 second"},
                                                      {2204, "0 seconds"},
                                                      {2205, "0.1 seconds"},
                                                      {66150, "1.5 seconds"},
                                                      {2646000 - 1, "1 minute"},
                                                      {2756250, "1 minute 2.5 seconds"},
                                                      {5336100, "2 minutes 1 second"},
                                                      {158760000 + 2756250, "1 hour 1 minute 2.5 seconds"},
                                                      {2 * 158760000 + 4410, "2 hours 0.1 seconds"},
                                                      {kLargest, "58096321723 hours 42 minutes 3.7 seconds"}};
    for (const auto &[frame, spoken] : times)
        EXPECT_EQ(kx::spokenTime(frame), spoken) << frame;
}

class PlayPositionViewElements : public testing::Test
{
protected:
    PlayPositionViewElements()
    {
        view->setDelegate(listener);
        bar::setRange(*view, 88200, 264600);
        view->setPlayFrame(110250);
    }

    std::shared_ptr<bar::Listener> listener = std::make_shared<bar::Listener>();
    std::shared_ptr<KXPlayPositionView> view = bar::view(420, 441000);
    std::vector<std::shared_ptr<kx::SliderElement>> elements = view->sliderElements();
};

TEST_F(PlayPositionViewElements, AreThePlayLineAndTheKnobs)
{
    const struct {
        const char *name, *text;
        int64_t value, minimum, maximum;
        NSRect frame;
    } expected[] = {{"Play position", "2.5 seconds", 110250, 0, 264600, {{110, 16}, {0.5, 12}}},
                    {"Loop start", "2 seconds", 88200, 0, 220500, {{80, 6}, {10, 10}}},
                    {"Loop end", "6 seconds", 264600, 132300, 441000, {{250, 6}, {10, 10}}}};
    ASSERT_EQ(elements.size(), std::size(expected));
    for (size_t i = 0; i < elements.size(); ++i) {
        SCOPED_TRACE(expected[i].name);
        EXPECT_EQ(elements[i]->name(), expected[i].name);
        EXPECT_EQ(elements[i]->valueText(), expected[i].text);
        EXPECT_EQ(elements[i]->value(), expected[i].value);
        EXPECT_EQ(elements[i]->minimum(), expected[i].minimum);
        EXPECT_EQ(elements[i]->maximum(), expected[i].maximum);
        EXPECT_EQ(elements[i]->frame(), expected[i].frame);
        EXPECT_TRUE(elements[i]->enabled());
    }
}

TEST_F(PlayPositionViewElements, MoveAndTellWithinTheLimits)
{
    for (const int64_t target : {int64_t(114660), int64_t(114660), -kLargest, kLargest})
        elements[0]->move(target);
    EXPECT_EQ(listener->take(), (Heard{{"play", 114660}, {"play", 0}, {"play", 264600}})) << "told of changes only";
    elements[1]->move(92610);
    elements[1]->move(kLargest);
    EXPECT_EQ(listener->take(), (Heard{{"start", 92610}, {"start", 220500}}));
    elements[2]->move(0); // is at its limit
    elements[2]->move(kLargest);
    EXPECT_EQ(listener->take(), (Heard{{"end", 441000}}));
    EXPECT_EQ(view->startFrameLayer()->hotSpot().x, 210);
    EXPECT_EQ(view->endFrameLayer()->hotSpot().x, 410);
}

TEST_F(PlayPositionViewElements, RestWhileDraggedDisabledOrGone)
{
    view->mouseDown(NSEvent({300, 35}));
    elements[0]->move(0);
    view->mouseUp(NSEvent({300, 35}));
    view->setEnabled(false);
    EXPECT_FALSE(elements[0]->enabled());
    elements[0]->move(0);
    EXPECT_EQ(view->playFrame(), 110250);
    view.reset();
    for (const auto &element : elements) {
        element->move(4410);
        EXPECT_FALSE(element->enabled());
        EXPECT_EQ(element->frame(), NSRect{});
    }
    EXPECT_EQ(listener->take(), Heard{});
}

TEST_F(PlayPositionViewElements, StayInAFileShorterThanTheShortestRange)
{
    for (const int64_t frames : {0, 22050}) {
        view->setNumFrames(frames);
        bar::setRange(*view, 0, frames);
        for (const auto &element : {elements[1], elements[2]})
            for (const int64_t target : {-kLargest, kLargest})
                element->move(target);
        EXPECT_EQ(view->startFrame(), 0);
        EXPECT_EQ(view->endFrame(), frames);
    }
    EXPECT_EQ(listener->take(), Heard{});
}

} // namespace
