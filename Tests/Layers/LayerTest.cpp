#include "KXFW/Platform/Layers/CAShapeLayer.h"
#include "KXFW/Platform/Layers/CATransaction.h"
#include "KXFW/Platform/Layers/LayerHost.h"
#include "KXFW/Platform/Layers/RectMath.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace
{

/// Writes down the areas it is told, a call a line.
struct RecordingHost : kx::LayerHost {
    std::ostringstream told;
    std::function<void()> action = [] {};
    void layersDidChange(const std::vector<NSRect> &areas) override
    {
        for (const auto &[origin, size] : areas)
            told << origin.x << "," << origin.y << " " << size.width << "x" << size.height << " ";
        told << "\n";
        action();
    }
    std::string take() { return std::exchange(told, {}).str(); }
};

/// A filled rectangle whose position is its bottom left corner.
std::shared_ptr<CAShapeLayer> box(const NSRect &frame)
{
    auto layer = CALayer::layer<CAShapeLayer>();
    layer->setAnchorPoint({0, 0});
    layer->setFrame(frame);
    const CGMutablePathRef path = CGPathCreateMutable();
    CGPathAddRect(*path, layer->bounds());
    layer->setPath(path);
    return layer;
}

/// A root at (100, 50), 40 by 30, that a host shows; in it a box.
class Layers : public testing::Test
{
protected:
    Layers()
    {
        root->setAnchorPoint({1, 0.5});
        root->setFrame({{100, 50}, {40, 30}});
        root->addSublayer(layer);
        kx::LayerHost::set(*root, &host);
    }
    ~Layers() override { kx::LayerHost::set(*root, nullptr); }

    RecordingHost host;
    std::shared_ptr<CALayer> root = CALayer::layer();
    std::shared_ptr<CAShapeLayer> layer = box({{5, 5}, {10, 10}});
};

TEST_F(Layers, HitTestFindsTheTopmostInTheParentsCoordinates)
{
    const auto above = box({{10, 5}, {20, 20}});
    const auto inside = box({{0, 0}, {100, 4}}); // sticks out of its parent
    root->addSublayer(above);
    above->addSublayer(inside);
    inside->addSublayer(above); // and itself: refused
    using Hits = std::vector<const CALayer *>;
    const auto hits = [&](const std::vector<NSPoint> &points) {
        Hits hit;
        for (const NSPoint &point : points)
            hit.push_back(root->hitTest({100 + point.x, 50 + point.y}).get());
        return hit;
    };
    EXPECT_EQ(hits({{6, 6}, {12, 12}, {12, 7}, {36, 6}, {0, 0}, {40, 0}, {-94, -44}}),
              (Hits{layer.get(), above.get(), inside.get(), root.get(), root.get(), nullptr, nullptr}))
        << "the right edge belongs to the neighbour, and what sticks out is not found";
    root->addSublayer(layer);             // goes on top
    layer->setBounds({{0, 0}, {-5, 20}}); // an area left of the position
    layer->setPosition({12, 5});
    EXPECT_EQ(hits({{11, 12}, {12, 12}}), (Hits{layer.get(), above.get()}));
}

TEST_F(Layers, ReportWhatLooksDifferentAndNothingElse)
{
    const CGMutablePathRef path = CGPathCreateMutable();
    CGPathAddRect(*path, layer->bounds());
    layer->setPath(nullptr);
    layer->setPath(path);
    layer->setPath(path); // equal values change nothing
    layer->setPosition({5, 5});
    CGPathAddRect(*path, {{0, 0}, {99, 99}}); // the layer has a copy
    layer->setFillColor(std::nullopt);
    layer->setPosition({0, 0}); // without a colour it has no area
    layer->setStrokeColor(NSColor{1, 0, 0, 1});
    root->setFrame({{0, 0}, {40, 30}}); // the root's own place is the host's affair
    root->setMasksToBounds(true);
    layer->setPosition({35, 5});
    layer->removeFromSuperlayer();
    layer->setPosition({1, 1}); // nobody shows it
    EXPECT_EQ(host.take(), "5,5 10x10 \n5,5 10x10 \n5,5 10x10 \n"
                           "-2.5,-2.5 15x15 \n-2.5,-2.5 15x15 \n-2.5,-2.5 15x15 \n" // with what the line reaches
                           "-2.5,-2.5 15x15 \n0,0 12.5x12.5 \n"
                           "0,0 12.5x12.5 \n32.5,2.5 7.5x15 \n" // what is cut off needs no painting
                           "32.5,2.5 7.5x15 \n");
}

TEST_F(Layers, TransactionReportsOnceAtTheEndOfTheOutermost)
{
    CATransaction::begin();
    CATransaction::setDisableActions(true);
    layer->setPosition({6, 5});
    CATransaction::begin();
    EXPECT_TRUE(CATransaction::disableActions()) << "inherited";
    layer->setPosition({7, 5});
    CATransaction::commit();
    EXPECT_EQ(host.take(), "");
    CATransaction::commit();
    CATransaction::commit(); // one too many
    EXPECT_EQ(host.take(), "5,5 10x10 6,5 10x10 6,5 10x10 7,5 10x10 \n");

    // Of two hosts the one that is told first goes and takes the other away.
    RecordingHost second;
    const auto shown = box({{0, 0}, {1, 1}});
    kx::LayerHost::set(*shown, &second);
    host.action = [&] { kx::LayerHost::set(*shown, nullptr); };
    second.action = [&] { kx::LayerHost::set(*root, nullptr); };
    {
        const kx::LayerTransaction transaction;
        layer->setPosition({9, 5});
        shown->setFillColor(NSColor{1, 0, 0, 1});
    }
    EXPECT_NE(host.take().empty(), second.take().empty());
    kx::LayerHost::set(*shown, nullptr);
}

/// Union and overlap of areas against counting points on a grid, negative sizes included.
TEST(RectMath, EqualsCountingPoints)
{
    std::mt19937 random(1);
    const auto within = [&](int low) -> double { return std::uniform_int_distribution(low, low + 8)(random); };
    const auto rect = [&] { return NSRect{{within(0), within(0)}, {within(-4), within(-4)}}; };
    for (int round = 0; round < 2000; ++round) {
        const NSRect a = rect();
        const NSRect b = rect();
        const NSRect all = kx::united(a, b);
        for (double x = -4.5; x < 12; ++x)
            for (double y = -4.5; y < 12; ++y) {
                const bool inA = kx::contains(a, {x, y});
                const bool inB = kx::contains(b, {x, y});
                ASSERT_EQ(kx::contains(kx::intersected(a, b), {x, y}), inA && inB) << "round " << round;
                ASSERT_TRUE(kx::contains(all, {x, y}) || !(inA || inB)) << "round " << round;
            }
        ASSERT_TRUE(kx::isEmpty(a) || kx::isEmpty(b) || // else the smallest around both
                    CGRectGetMaxX(all) == std::max(CGRectGetMaxX(a), CGRectGetMaxX(b)));
        ASSERT_GE(all.size.width, 0);
    }
}

} // namespace
