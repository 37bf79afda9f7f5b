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
    EXPECT_EQ(drag({110, kOnBar}, {60, 30, -500, 900}),
              (Heard{{"play", 110250}, {"play", 55125}, {"play", 22050}, {"play", 0}, {"play", 220500}}))
        << "before the range, never beyond it";
    EXPECT_EQ(drag({45, kOnKnobs}, {55, 65}), (Heard{{"start", 66150}}));
    EXPECT_EQ(drag({215, kOnKnobs}, {235}), (Heard{{"end", 242550}}));
    EXPECT_TRUE(view->startFrameLayer()->fillColor() && view->endFrameLayer()->fillColor()) << "no longer pressed";
    bar::setRange(*view, 0, 441000);
    EXPECT_EQ(drag({5, kOnKnobs}, {300, 390, 400, 375}), (Heard{{"start", 380362}}))
        << "from its stop at 370 the tip follows once the pointer is back at 390";
    EXPECT_NEAR(double(drag({415, kOnKnobs}, {0}).at(0).second), 380362 + 44100, 1);
}

TEST_F(PlayPositionViewMouse, MovesNothingElsewhereOrDisabledAndDropsThePlayersPosition)
{
    bar::setRange(*view, 44100, 220500);
    for (const NSPoint from : {NSPoint{300, kOnBar}, {300, 35}, {900, kOnBar}}) {
        view->mouseDown(at(from.x, from.y));
        view->setPlayFrame(99);
        EXPECT_EQ(drag(from, {100}), Heard{});
        EXPECT_EQ(view->playFrame(), 0) << from.x << ", " << from.y;
    }
    view->setPlayFrame(99);
    EXPECT_EQ(view->playFrame(), 99);
    view->mouseDown(at(45, kOnKnobs));
    view->setFrame({kOrigin, {620, 40}});
    EXPECT_EQ(view->startFrameLayer()->fillColor(), std::nullopt) << "a layout leaves a pressed knob as it looks";
    view->setEnabled(false);
    EXPECT_EQ(drag({110, kOnBar}, {200}), Heard{});
    EXPECT_EQ(drag({45, kOnKnobs}, {100}), Heard{});
}

TEST_F(PlayPositionViewMouse, KeepsTheRangeInTheFileAsTheKeysDo)
{
    std::mt19937_64 random(20240608);
    const auto between = [&](int64_t low, int64_t high) { return std::uniform_int_distribution(low, high)(random); };
    size_t told = 0;
    for (int round = 0; round < 300; ++round) {
        const int64_t frames = between(0, int64_t(1) << between(1, 41));
        const double width = double(between(0, 4000)) / 2;
        use(width, frames);
        const int64_t start = between(0, frames);
        bar::setRange(*view, start, between(start, frames));
        for (int press = 0; press < 20; ++press) {
            const NSPoint from{double(between(-20, int64_t(width) + 20)), double(between(5, 30))};
            if (press % 5 == 0)
                view->sliderElements()[random() % 3]->move(press % 2 ? -bar::kLargest : bar::kLargest);
            told += drag(from, {double(between(-700, 700)), double(between(-100, 2500))}).size();
            const bool isKept = 0 <= view->startFrame() && view->startFrame() <= view->endFrame() &&
                                view->endFrame() <= frames &&
                                view->endFrameLayer()->hotSpot().x == view->_frame2X(view->endFrame());
            ASSERT_TRUE(isKept) << "round " << round << ", press " << press << ": width " << width << ", frames "
                                << frames;
        }
    }
    EXPECT_GT(told, 1000U) << "too few presses met anything";

    use(2020, int64_t(1) << 40); // single precision is coarser here than the shortest range
    view->setEndFrame(557533591595);
    EXPECT_EQ(drag({5, kOnKnobs}, {2500}), (Heard{{"start", 557533591595}}));
}

TEST_F(PlayPositionViewMouse, MayBeLetGoByItsDelegateAndIsIdleAfterOneThatThrew)
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

    use(420, 441000);
    listener->answer = [] { throw std::runtime_error("refused"); };
    EXPECT_THROW(drag({5, kOnKnobs}, {}), std::runtime_error);
    EXPECT_FALSE(view->isDragging() || view->draggingLayer());
}

} // namespace
