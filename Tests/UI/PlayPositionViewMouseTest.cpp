// What the mouse does to the transport bar, which stands at (300, 200) of its window.
#include "Tests/UI/BarTesting.h"

#include "KXFW/Platform/Toolkit/SliderElement.h"

#include <gtest/gtest.h>

#include <random>
#include <stdexcept>

namespace
{

using bar::Heard;

constexpr double kOnBar = 20;   // y
constexpr double kOnKnobs = 10; // y
constexpr NSPoint kOrigin{300, 200};

NSEvent at(double x, double y)
{
    return NSEvent({kOrigin.x + x, kOrigin.y + y});
}

class PlayPositionViewMouse : public testing::Test
{
protected:
    PlayPositionViewMouse() { use(420, 441000); }

    void use(double width, int64_t frames)
    {
        view = bar::view(width, frames, kOrigin);
        view->setDelegate(listener);
    }
    /// Presses, drags to each of `xs`, releases there. Gives what the delegate heard.
    Heard drag(NSPoint from, const std::vector<double> &xs)
    {
        view->mouseDown(at(from.x, from.y));
        for (const double x : xs)
            view->mouseDragged(at(x, from.y));
        view->mouseUp(at(xs.empty() ? from.x : xs.back(), from.y));
        return listener->take();
    }

    std::shared_ptr<bar::Listener> listener = std::make_shared<bar::Listener>();
    std::shared_ptr<KXPlayPositionView> view;
};

TEST_F(PlayPositionViewMouse, MovesThePlayLineByPressAndDragAndAKnobByRelease)
{
    bar::setRange(*view, 44100, 220500);
    EXPECT_EQ(drag({110, kOnBar}, {60, 30, -500, 200, 900}), (Heard{{"play", 110250},
                                                                    {"play", 55125},
                                                                    {"play", 22050}, // before the range
                                                                    {"play", 0},
                                                                    {"play", 209475},
                                                                    {"play", 220500}})); // never beyond it
    EXPECT_EQ(view->playFrame(), 220500);
    EXPECT_EQ(drag({45, kOnKnobs}, {55, 65}), (Heard{{"start", 66150}}));
    EXPECT_EQ(drag({215, kOnKnobs}, {235}), (Heard{{"end", 242550}}));
    EXPECT_TRUE(view->startFrameLayer()->fillColor() && view->endFrameLayer()->fillColor()) << "no longer pressed";
}

TEST_F(PlayPositionViewMouse, KeepsTheShortestRange)
{
    EXPECT_EQ(drag({5, kOnKnobs}, {300, 390, 400, 375}), (Heard{{"start", 380362}}))
        << "from its stop at 370 the tip follows once the pointer is back at 390";
    const Heard heard = drag({415, kOnKnobs}, {0});
    EXPECT_NEAR(double(heard.at(0).second), 380362 + 44100, 1);
    EXPECT_NEAR(view->startFrameLayer()->max(), 355, 1e-3);
    view->startFrameLayer()->setMin(400);
    drag({350, kOnKnobs}, {300});
    EXPECT_NEAR(view->startFrameLayer()->hotSpot().x, 355, 1e-3) << "where the limits cross the upper one wins";
}

TEST_F(PlayPositionViewMouse, MovesNothingElsewhereOrDisabledAndDropsThePlayersPosition)
{
    bar::setRange(*view, 44100, 220500);
    for (const NSPoint from : {NSPoint{300, kOnBar}, {300, 35}, {900, kOnBar}}) {
        SCOPED_TRACE(testing::Message() << from.x << ", " << from.y);
        view->mouseDown(at(from.x, from.y));
        EXPECT_TRUE(view->isDragging());
        view->setPlayFrame(99);
        EXPECT_EQ(drag(from, {100}), Heard{});
        EXPECT_FALSE(view->isDragging());
        EXPECT_EQ(view->playFrame(), 0);
    }
    view->setPlayFrame(99);
    EXPECT_EQ(view->playFrame(), 99);
    view->setEnabled(false);
    EXPECT_EQ(drag({110, kOnBar}, {200}), Heard{});
    EXPECT_EQ(drag({45, kOnKnobs}, {100}), Heard{});
    view->setEnabled(true);
    view->mouseDown(at(45, kOnKnobs));
    view->setFrame({kOrigin, {620, 40}});
    EXPECT_EQ(view->startFrameLayer()->fillColor(), std::nullopt) << "a layout leaves a pressed knob as it looks";
}

TEST_F(PlayPositionViewMouse, StaysInAFileShorterThanTheShortestRangeAsTheKeysDo)
{
    for (const int64_t frames : {1, 22050, 44099}) {
        use(420, frames);
        EXPECT_EQ(drag({5, kOnKnobs}, {200, 415}), (Heard{{"start", 0}}));
        EXPECT_EQ(view->startFrameLayer()->hotSpot().x, 10) << frames;
        EXPECT_EQ(drag({415, kOnKnobs}, {200, 5}), (Heard{{"end", frames}}));
        EXPECT_EQ(view->endFrameLayer()->hotSpot().x, 410) << frames;
        for (const auto &element : view->sliderElements()) {
            EXPECT_LE(element->minimum(), element->maximum());
            for (const int64_t target : {-bar::kLargest, bar::kLargest})
                element->move(target);
        }
        EXPECT_EQ(listener->take(), (Heard{{"play", frames}})) << "the knobs have no room";
    }
}

TEST_F(PlayPositionViewMouse, KeepsTheRangeInTheFile)
{
    const unsigned seed = 20240608;
    std::mt19937_64 random(seed);
    const auto between = [&](int64_t low, int64_t high) { return std::uniform_int_distribution(low, high)(random); };
    size_t told = 0;
    for (int round = 0; round < 300; ++round) {
        const int64_t frames = between(0, int64_t(1) << between(1, 41));
        const double width = double(between(0, 4000)) / 2;
        use(width, frames);
        const int64_t start = between(0, frames);
        bar::setRange(*view, start, between(start, frames));
        for (int press = 0; press < 20; ++press) {
            SCOPED_TRACE(testing::Message() << "seed " << seed << ", round " << round << ", press " << press
                                            << ": width " << width << ", frames " << frames);
            const NSPoint from{double(between(-20, int64_t(width) + 20)), double(between(5, 30))};
            told += drag(from, {double(between(-700, 700)), double(between(-100, 2500))}).size();
            ASSERT_LE(0, view->startFrame());
            ASSERT_LE(view->startFrame(), view->endFrame());
            ASSERT_LE(view->endFrame(), frames);
            ASSERT_NEAR(view->startFrameLayer()->hotSpot().x, view->_frame2X(view->startFrame()), 1e-9);
            ASSERT_EQ(view->endFrameLayer()->hotSpot().x, view->_frame2X(view->endFrame()));
        }
    }
    EXPECT_GT(told, 1000U) << "too few presses met anything";

    use(2020, int64_t(1) << 40); // single precision is coarser here than the shortest range
    view->setEndFrame(557533591595);
    EXPECT_EQ(drag({5, kOnKnobs}, {2500}), (Heard{{"start", 557533591595}}));
}

TEST_F(PlayPositionViewMouse, MayBeLetGoByItsDelegate)
{
    listener->answer = [this] { view.reset(); };
    for (const double x : {110, 5, 415}) {
        use(420, 441000);
        const std::weak_ptr gone = view;
        for (const auto handler : {&NSView::mouseDown, &NSView::mouseDragged, &NSView::mouseUp})
            if (NSView *const remaining = view.get()) // a host that does not keep the view itself
                (remaining->*handler)(at(x, x == 110 ? kOnBar : kOnKnobs));
        EXPECT_TRUE(gone.expired());
    }
    EXPECT_EQ(listener->take(), (Heard{{"play", 110250}, {"start", 0}, {"end", 441000}}));
}

TEST_F(PlayPositionViewMouse, IsIdleAfterADelegateThrew)
{
    listener->answer = [] { throw std::runtime_error("refused"); };
    EXPECT_THROW(drag({5, kOnKnobs}, {}), std::runtime_error);
    EXPECT_FALSE(view->isDragging());
    EXPECT_EQ(view->draggingLayer(), nullptr);
}

} // namespace
