#include "KXFW/UI/KXAEndRangeKnobLayer.h"

#include <gtest/gtest.h>

namespace
{

using Figures = std::vector<CGPath::Figure>;

constexpr NSColor kDrawing{0.31, 0.37, 0.73, 0.8};
constexpr NSColor kDisabled{0.6, 0.6, 0.9, 0.8};

struct Moves : KXARangeKnobLayerDelegate {
    void knobLayerDidMove(KXARangeKnobLayer &) override { ++count; }

    int count = 0;
};

NSEvent at(double x, double y = 8)
{
    return NSEvent({x, y});
}

TEST(RangeKnobLayer, PointsAtItsEndOfTheRange)
{
    const auto start = KXARangeKnobLayer::initWithFrame({{0, 5}, {10, 10}});
    EXPECT_EQ(start->path()->figures(), (Figures{{{{0, 0}, {10, 0}, {10, 10}}, true}}));
    EXPECT_EQ(start->hotSpot(), (NSPoint{10, 15}));
    const auto end = KXARangeKnobLayer::initWithFrame<KXAEndRangeKnobLayer>({{410, 5}, {10, 10}});
    EXPECT_EQ(end->path()->figures(), (Figures{{{{0, 0}, {10, 0}, {0, 10}}, true}}));
    EXPECT_EQ(end->hotSpot(), (NSPoint{410, 15}));
}

TEST(RangeKnobLayer, IsColouredByEveryChangeOfItsState)
{
    const auto knob = KXARangeKnobLayer::initWithFrame({{0, 5}, {10, 10}});
    const auto expect = [&](std::optional<NSColor> fill, NSColor stroke, const char *when) {
        EXPECT_EQ(knob->fillColor(), fill) << when;
        EXPECT_EQ(knob->strokeColor(), stroke) << when;
    };
    expect(kDisabled, kDisabled, "new");
    knob->setEnabled(true);
    expect(kDrawing, kDrawing, "enabled");
    knob->mouseDown(at(5));
    expect(std::nullopt, kDrawing, "pressed");
    knob->setEnabled(true);
    expect(kDrawing, kDrawing, "set to the same state");
    knob->setEnabled(false);
    knob->mouseUp(at(5));
    expect(kDrawing, kDisabled, "released, whatever the state");
}

TEST(RangeKnobLayer, FollowsThePointerWithinItsLimits)
{
    const struct {
        double x, y;                     // of the pointer
        double tip;                      // of the knob afterwards
        int told;                        // in all
        double lastSeen;                 // lastMouseLocation().x
    } steps[] = {{500, 90, 110, 0, 500}, // upwards only
                 {507, 90, 112, 1, 507}, // past max
                 {510, 90, 112, 1, 507}, // further: nothing
                 {508, 90, 112, 1, 507}, // back, not yet where it stopped
                 {504, 90, 109, 2, 504}, // past it
                 {307, 90, 10, 3, 307}}; // far past min
    auto moves = std::make_shared<Moves>();
    const auto knob = KXARangeKnobLayer::initWithFrame({{100, 5}, {10, 10}});
    knob->setMin(10);
    knob->setMax(112);
    knob->setKnobLayerDelegate(moves);
    knob->mouseDown(at(500));
    for (const auto &[x, y, tip, told, lastSeen] : steps) {
        knob->mouseDragged(at(x, y));
        EXPECT_EQ(knob->hotSpot(), (NSPoint{tip, 15})) << x;
        EXPECT_EQ(moves->count, told) << x;
        EXPECT_EQ(knob->lastMouseLocation().x, lastSeen) << x;
    }
    moves.reset(); // a delegate that is gone is not told
    knob->setMin(300);
    knob->mouseDragged(at(310));
    EXPECT_EQ(knob->hotSpot().x, 112) << "where the limits cross the upper one wins";
}

} // namespace
