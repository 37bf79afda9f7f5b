#include "KXFW/Platform/Layers/CAShapeLayer.h"
#include "KXFW/Platform/Layers/CATransaction.h"
#include "KXFW/Platform/Layers/RectMath.h"

#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <random>
#include <vector>

void PrintTo(const NSRect &r, std::ostream *out)
{
    *out << "(" << r.origin.x << ", " << r.origin.y << ", " << r.size.width << ", " << r.size.height << ")";
}

namespace
{

using Areas = std::vector<NSRect>;

struct RecordingHost : kx::LayerHost {
    std::vector<Areas> calls;
    std::function<void()> action = [] {};
    void layersDidChange(const Areas &areas) override
    {
        calls.push_back(areas);
        action();
    }
    std::vector<Areas> take() { return std::exchange(calls, {}); }
};

CGMutablePathRef rectPath(const NSRect &rect)
{
    const CGMutablePathRef path = CGPathCreateMutable();
    CGPathAddRect(*path, rect);
    return path;
}

/// A filled rectangle whose position is its bottom left corner.
std::shared_ptr<CAShapeLayer> box(const NSRect &frame)
{
    auto layer = CALayer::layer<CAShapeLayer>();
    layer->setAnchorPoint({0, 0});
    layer->setFrame(frame);
    layer->setPath(rectPath(layer->bounds()));
    return layer;
}

/// A root at (100, 50), 40 by 30, that a host shows.
class Layers : public testing::Test
{
protected:
    Layers()
    {
        root->setAnchorPoint({1, 0.5});
        root->setFrame({{100, 50}, {40, 30}});
        root->setHost(&host);
    }
    ~Layers() override { root->setHost(nullptr); }

    RecordingHost host;
    std::shared_ptr<CALayer> root = CALayer::layer();
};

TEST_F(Layers, HitTestFindsTheTopmostInTheParentsCoordinates)
{
    EXPECT_EQ(root->position(), (NSPoint{140, 65}));
    const auto below = box({{5, 5}, {20, 20}});
    const auto above = box({{15, 5}, {20, 20}});
    const auto inside = box({{0, 0}, {100, 4}}); // sticks out of its parent
    root->addSublayer(below);
    root->addSublayer(above);
    above->addSublayer(inside);
    inside->addSublayer(above); // and itself: refused
    const auto hit = [&](double x, double y) { return root->hitTest({100 + x, 50 + y}).get(); };

    EXPECT_EQ(hit(6, 6), below.get());
    EXPECT_EQ(hit(20, 20), above.get()) << "both have the point";
    EXPECT_EQ(hit(20, 7), inside.get());
    EXPECT_EQ(hit(36, 6), root.get()) << "found inside its parent's rectangle only";
    EXPECT_EQ(hit(0, 0), root.get());
    EXPECT_EQ(hit(40, 0), nullptr) << "the right edge belongs to the neighbour";
    EXPECT_EQ(root->hitTest({6, 6}), nullptr);

    root->addSublayer(below); // goes on top
    EXPECT_EQ(root->sublayers().size(), 2U);
    EXPECT_EQ(hit(20, 20), below.get());
    below->setBounds({{0, 0}, {-5, 20}}); // an area left of the position
    EXPECT_EQ(hit(2, 10), below.get());
    below->removeFromSuperlayer();
    EXPECT_EQ(hit(2, 10), root.get());
}

TEST_F(Layers, ReportWhatLooksDifferentAndNothingElse)
{
    const auto layer = box({{5, 5}, {10, 10}});
    root->addSublayer(layer);
    layer->setPosition({20, 5});
    EXPECT_EQ(host.take(), (std::vector<Areas>{{{{5, 5}, {10, 10}}}, {{{5, 5}, {10, 10}}}, {{{20, 5}, {10, 10}}}}));

    const auto path = rectPath({{0, 0}, {10, 10}});
    layer->setPosition({20, 5});
    layer->setFillColor(NSColor{});
    layer->setPath(path);
    EXPECT_TRUE(host.calls.empty()) << "equal values change nothing";

    layer->setPath(nullptr);
    layer->setPath(path);
    CGPathAddRect(*path, {{0, 0}, {99, 99}}); // the layer has a copy
    host.calls.clear();
    layer->setFillColor(std::nullopt);
    EXPECT_EQ(host.take(), (std::vector<Areas>{{{{20, 5}, {10, 10}}}})) << "afterwards it has no area";
    layer->setPosition({0, 0});
    EXPECT_TRUE(host.calls.empty());
    layer->setStrokeColor(NSColor{1, 0, 0, 1});
    EXPECT_LE(host.take().back().back().origin.x, -0.5) << "half of the line lies outside";

    root->setFrame({{0, 0}, {40, 30}}); // the root's own place is the host's affair
    root->setMasksToBounds(true);
    layer->setPosition({35, 5});
    for (const Areas &call : host.take())
        EXPECT_LE(CGRectGetMaxX(call.at(0)), 40) << "what is cut off needs no painting";
    layer->removeFromSuperlayer();
    EXPECT_EQ(host.take().size(), 1U);
    layer->setPosition({1, 1});
    EXPECT_TRUE(host.calls.empty()) << "nobody shows it";
}

TEST_F(Layers, TransactionReportsOnceAtTheEndOfTheOutermost)
{
    const auto layer = box({{5, 5}, {10, 10}});
    root->addSublayer(layer);
    host.calls.clear();
    CATransaction::begin();
    CATransaction::setDisableActions(true);
    layer->setPosition({6, 5});
    CATransaction::begin();
    EXPECT_TRUE(CATransaction::disableActions()) << "inherited";
    CATransaction::setDisableActions(false);
    layer->setPosition({7, 5});
    CATransaction::commit();
    EXPECT_TRUE(CATransaction::disableActions());
    EXPECT_TRUE(host.calls.empty());
    CATransaction::commit();
    NSRect all;
    const auto calls = host.take();
    ASSERT_EQ(calls.size(), 1U);
    for (const NSRect &area : calls.front())
        all = kx::united(all, area);
    EXPECT_EQ(all, (NSRect{{5, 5}, {12, 10}}));

    CATransaction::commit(); // one too many
    try {
        const kx::LayerTransaction transaction;
        layer->setPosition({8, 5});
        throw 1;
    } catch (int) {
    }
    EXPECT_EQ(host.take().size(), 1U) << "an exception ends the transaction, too";

    // Of two hosts the one that is told first goes and takes the other away.
    RecordingHost second;
    const auto shown = box({{0, 0}, {1, 1}});
    shown->setHost(&second);
    host.action = [&] { shown->setHost(nullptr); };
    second.action = [&] { root->setHost(nullptr); };
    {
        const kx::LayerTransaction transaction;
        layer->setPosition({9, 5});
        shown->setFillColor(NSColor{1, 0, 0, 1});
    }
    EXPECT_EQ(host.calls.size() + second.calls.size(), 1U);
    shown->setHost(nullptr);
}

TEST(Path, FiguresAndBoundingBox)
{
    const auto path = CGPathCreateMutable();
    EXPECT_FALSE(path->boundingBox());
    CGPathCloseSubpath(*path);
    CGPathAddLineToPoint(*path, 3, 4);
    CGPathAddLineToPoint(*path, -1, 9);
    CGPathCloseSubpath(*path);
    CGPathAddLineToPoint(*path, 5, 5);
    EXPECT_EQ(path->figures(), (std::vector<CGPath::Figure>{{{{3, 4}, {-1, 9}}, true}, {{{3, 4}, {5, 5}}, false}}));
    EXPECT_EQ(*path->boundingBox(), (NSRect{{-1, 4}, {6, 5}}));
}

/// Union and overlap of areas against counting points on a grid, negative sizes included.
TEST(RectMath, EqualsCountingPoints)
{
    std::mt19937 random(1);
    const auto within = [&](int low, int high) -> double { return std::uniform_int_distribution(low, high)(random); };
    for (int round = 0; round < 2000; ++round) {
        const NSRect a{{within(0, 7), within(0, 7)}, {within(-4, 4), within(-4, 4)}};
        const NSRect b{{within(0, 7), within(0, 7)}, {within(-4, 4), within(-4, 4)}};
        SCOPED_TRACE(testing::PrintToString(a) + " and " + testing::PrintToString(b));
        for (double x = -4.5; x < 12; ++x)
            for (double y = -4.5; y < 12; ++y) {
                const bool inA = kx::contains(a, {x, y});
                const bool inB = kx::contains(b, {x, y});
                ASSERT_EQ(kx::contains(kx::intersected(a, b), {x, y}), inA && inB) << x << ", " << y;
                ASSERT_TRUE(kx::contains(kx::united(a, b), {x, y}) || !(inA || inB)) << x << ", " << y;
            }
        if (!kx::isEmpty(a) && !kx::isEmpty(b)) {
            ASSERT_EQ(CGRectGetMaxX(kx::united(a, b)), std::max(CGRectGetMaxX(a), CGRectGetMaxX(b)));
        }
    }
}

} // namespace
