#include "KXFW/UI/KXAEndRangeKnobLayer.h"
#include "KXFW/UI/KXARangeKnobLayer.h"

#include <gtest/gtest.h>

#include <memory>

namespace
{

constexpr NSColor kDrawing{0.31, 0.37, 0.73, 0.8};
constexpr NSColor kDisabled{0.6, 0.6, 0.9, 0.8};

struct Moves : KXARangeKnobLayerDelegate {
    void knobLayerDidMove(KXARangeKnobLayer &knob) override
    {
        ++count;
        tip = knob.hotSpot().x;
    }

    int count = 0;
    double tip = 0;
};

NSEvent at(double x, double y = 0)
{
    return NSEvent({x, y});
}

TEST(RangeKnobLayer, PointsAtItsEndOfTheRange)
{
    const auto start = KXARangeKnobLayer::initWithFrame({{0, 5}, {10, 10}});
    EXPECT_EQ(start->path()->figures(), (std::vector<CGPath::Figure>{{{{0, 0}, {10, 0}, {10, 10}}, true}}));
    EXPECT_EQ(start->hotSpot(), (NSPoint{10, 15}));
    EXPECT_EQ(start->position(), (NSPoint{0, 5}));

    const auto end = KXARangeKnobLayer::initWithFrame<KXAEndRangeKnobLayer>({{410, 5}, {10, 10}});
    EXPECT_EQ(end->path()->figures(), (std::vector<CGPath::Figure>{{{{0, 0}, {10, 0}, {0, 10}}, true}}));
    EXPECT_EQ(end->hotSpot(), (NSPoint{410, 15}));
}

TEST(RangeKnobLayer, IsColouredByEveryChangeOfItsState)
{
    const auto knob = KXARangeKnobLayer::initWithFrame({{0, 5}, {10, 10}});
    EXPECT_EQ(knob->fillColor(), kDisabled);
    EXPECT_EQ(knob->strokeColor(), kDisabled);
    knob->setEnabled(true);
    EXPECT_EQ(knob->fillColor(), kDrawing);
    EXPECT_EQ(knob->strokeColor(), kDrawing);

    knob->mouseDown(at(5));
    EXPECT_EQ(knob->fillColor(), std::nullopt);
    EXPECT_EQ(knob->strokeColor(), kDrawing);
    knob->setEnabled(true);
    EXPECT_EQ(knob->fillColor(), kDrawing) << "the same state colours it too";
    knob->setEnabled(false);
    knob->mouseUp(at(5));
    EXPECT_EQ(knob->fillColor(), kDrawing) << "a release shows the drawing colour whatever the state";
    EXPECT_EQ(knob->strokeColor(), kDisabled);
}

TEST(RangeKnobLayer, FollowsThePointerWithinItsLimits)
{
    struct Step {
        double x, y;     // of the pointer
        double tip;      // of the knob afterwards
        int told;        // in all
        double lastSeen; // lastMouseLocation().x
    };
    const Step steps[] = {{500, 90, 110, 0, 500}, // upwards only
                          {507, 90, 112, 1, 507}, // past max
                          {510, 90, 112, 1, 507}, // further: nothing
                          {508, 90, 112, 1, 507}, // back, not yet where it stopped
                          {504, 90, 109, 2, 504}, // past it
                          {307, 90, 10, 3, 307}}; // far past min
    const auto moves = std::make_shared<Moves>();
    const auto knob = KXARangeKnobLayer::initWithFrame({{100, 5}, {10, 10}});
    knob->setMin(10);
    knob->setMax(112);
    knob->setKnobLayerDelegate(moves);
    knob->mouseDown(at(500, 8));
    for (const Step &step : steps) {
        SCOPED_TRACE(testing::Message() << "pointer at " << step.x);
        knob->mouseDragged(at(step.x, step.y));
        EXPECT_EQ(knob->hotSpot(), (NSPoint{step.tip, 15}));
        EXPECT_EQ(moves->count, step.told);
        EXPECT_EQ(knob->lastMouseLocation().x, step.lastSeen);
    }
    EXPECT_EQ(moves->tip, 10);
}

TEST(RangeKnobLayer, LetsTheUpperLimitWinWhereTheyCross)
{
    for (const double step : {-50.0, 50.0}) {
        const auto knob = KXARangeKnobLayer::initWithFrame<KXAEndRangeKnobLayer>({{100, 5}, {10, 10}});
        knob->setMin(300);
        knob->setMax(200);
        knob->mouseDown(at(0));
        knob->mouseDragged(at(step));
        EXPECT_EQ(knob->hotSpot().x, 200) << step;
    }
}

TEST(RangeKnobLayer, TellsNobodyOnceItsDelegateIsGone)
{
    auto moves = std::make_shared<Moves>();
    const auto knob = KXARangeKnobLayer::initWithFrame({{0, 5}, {10, 10}});
    knob->setMax(100);
    knob->setKnobLayerDelegate(moves);
    moves.reset();
    EXPECT_EQ(knob->knobLayerDelegate(), nullptr);
    knob->mouseDown(at(0));
    knob->mouseDragged(at(20));
    EXPECT_EQ(knob->hotSpot().x, 30);
}

} // namespace
