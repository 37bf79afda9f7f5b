#include "KXFW/Platform/Layers/CAShapeLayer.h"
#include "KXFW/Platform/Layers/CATransaction.h"
#include "KXFW/Platform/Layers/RectMath.h"

#include <gtest/gtest.h>

#include <ostream>
#include <random>
#include <vector>

void PrintTo(const NSRect &r, std::ostream *out)
{
    *out << "(" << r.origin.x << ", " << r.origin.y << ", " << r.size.width << ", " << r.size.height << ")";
}

namespace
{

struct RecordingHost : kx::LayerHost {
    std::vector<std::vector<NSRect>> calls;
    void layersDidChange(const std::vector<NSRect> &areas) override { calls.push_back(areas); }
    std::vector<std::vector<NSRect>> take() { return std::exchange(calls, {}); }
};

CGPathRef rectPath(const NSRect &rect)
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
        root->setAnchorPoint({0, 0});
        root->setFrame({{100, 50}, {40, 30}});
        root->setHost(&host);
    }
    ~Layers() override { root->setHost(nullptr); }

    RecordingHost host;
    std::shared_ptr<CALayer> root = CALayer::layer();
};

TEST_F(Layers, FrameComesFromPositionBoundsAndAnchor)
{
    const auto layer = CALayer::layer();
    layer->setBounds({{3, 4}, {10, 20}});
    layer->setPosition({50, 60});
    EXPECT_EQ(layer->frame(), (NSRect{{45, 50}, {10, 20}}));
    layer->setAnchorPoint({0, 0});
    EXPECT_EQ(layer->frame(), (NSRect{{50, 60}, {10, 20}}));
    layer->setAnchorPoint({1, 0.5});
    layer->setFrame({{0, 0}, {8, 6}});
    EXPECT_EQ(layer->position(), (NSPoint{8, 3}));
    EXPECT_EQ(layer->bounds(), (NSRect{{3, 4}, {8, 6}})) << "the origin of the bounds stays";
}

TEST_F(Layers, HitTestFindsTheTopmostInTheParentsCoordinates)
{
    const auto below = box({{5, 5}, {20, 20}});
    const auto above = box({{15, 5}, {20, 20}});
    const auto inside = box({{0, 0}, {100, 4}}); // sticks out of its parent
    root->addSublayer(below);
    root->addSublayer(above);
    above->addSublayer(inside);
    const auto hit = [&](double x, double y) { return root->hitTest({100 + x, 50 + y}).get(); };

    EXPECT_EQ(hit(6, 6), below.get());
    EXPECT_EQ(hit(20, 20), above.get()) << "both have the point";
    EXPECT_EQ(hit(20, 7), inside.get());
    EXPECT_EQ(hit(36, 6), root.get()) << "found inside its parent's rectangle only";
    EXPECT_EQ(hit(0, 0), root.get());
    EXPECT_EQ(hit(40, 0), nullptr) << "the right edge belongs to the neighbour";
    EXPECT_EQ(hit(-1, 5), nullptr);
    EXPECT_EQ(root->hitTest({6, 6}), nullptr);

    root->addSublayer(below); // goes on top
    EXPECT_EQ(root->sublayers().size(), 2U);
    EXPECT_EQ(hit(20, 20), below.get());
    below->setBounds({{0, 0}, {-5, 20}}); // an area left of the position
    EXPECT_EQ(hit(2, 10), below.get());
    EXPECT_EQ(hit(6, 10), root.get());
    below->removeFromSuperlayer();
    EXPECT_EQ(hit(2, 10), root.get());
    EXPECT_EQ(below->superlayer(), nullptr);
}

TEST_F(Layers, RefuseToHoldThemselves)
{
    const auto child = box({{0, 0}, {1, 1}});
    root->addSublayer(child);
    child->addSublayer(root);
    child->addSublayer(child);
    child->addSublayer(nullptr);
    EXPECT_TRUE(child->sublayers().empty());
    EXPECT_EQ(child->superlayer(), root.get());
}

TEST_F(Layers, ReportWhatLooksDifferentAndNothingElse)
{
    const auto layer = box({{5, 5}, {10, 10}});
    root->addSublayer(layer);
    EXPECT_EQ(host.take(), (std::vector<std::vector<NSRect>>{{{{5, 5}, {10, 10}}}}));

    layer->setPosition({20, 5});
    EXPECT_EQ(host.take(), (std::vector<std::vector<NSRect>>{{{{5, 5}, {10, 10}}}, {{{20, 5}, {10, 10}}}}));

    layer->setPosition({20, 5});
    layer->setFillColor(NSColor{});
    layer->setPath(rectPath({{0, 0}, {10, 10}}));
    EXPECT_TRUE(host.calls.empty()) << "equal values change nothing";

    layer->setFillColor(std::nullopt);
    EXPECT_EQ(host.take().size(), 1U) << "what is not drawn afterwards has no area";
    layer->setPosition({0, 0});
    EXPECT_TRUE(host.calls.empty());
    layer->setStrokeColor(NSColor{1, 0, 0, 1});
    const NSRect stroked = host.take().back().back();
    EXPECT_LE(stroked.origin.x, -0.5) << "half of the line lies outside";

    root->setFrame({{0, 0}, {40, 30}}); // the root's own place is the host's affair
    root->setMasksToBounds(true);
    layer->setPosition({35, 5});
    for (const auto &call : host.take())
        for (const NSRect &area : call)
            EXPECT_LE(CGRectGetMaxX(area), 40) << "what is cut off needs no painting";
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
    CATransaction::setAnimationDuration(0);
    layer->setPosition({6, 5});
    CATransaction::begin();
    EXPECT_TRUE(CATransaction::disableActions()) << "inherited";
    CATransaction::setDisableActions(false);
    layer->setPosition({7, 5});
    CATransaction::commit();
    EXPECT_TRUE(CATransaction::disableActions());
    EXPECT_EQ(CATransaction::animationDuration(), 0);
    EXPECT_TRUE(host.calls.empty());
    CATransaction::commit();
    ASSERT_EQ(host.calls.size(), 1U);
    NSRect all;
    for (const NSRect &area : host.calls.front())
        all = kx::united(all, area);
    EXPECT_EQ(all, (NSRect{{5, 5}, {12, 10}}));
    EXPECT_FALSE(CATransaction::disableActions());
    EXPECT_EQ(CATransaction::animationDuration(), 0.25);

    host.calls.clear();
    CATransaction::commit(); // one too many
    try {
        const kx::LayerTransaction transaction;
        layer->setPosition({8, 5});
        throw 1;
    } catch (int) {
    }
    EXPECT_EQ(host.take().size(), 1U) << "an exception ends the transaction, too";

    const kx::LayerTransaction transaction;
    layer->setPosition({9, 5});
    root->setHost(nullptr); // gone before the end: hears nothing
}

TEST(Transaction, TellsNoHostThatWentWhileAnotherWasTold)
{
    struct Host : kx::LayerHost {
        std::shared_ptr<CAShapeLayer> shown = box({{0, 0}, {1, 1}});
        Host *other = nullptr;
        int told = 0;
        void layersDidChange(const std::vector<NSRect> &) override
        {
            ++told;
            other->shown->setHost(nullptr);
        }
    };
    Host hosts[2];
    for (int i = 0; i < 2; ++i) {
        hosts[i].other = &hosts[1 - i];
        hosts[i].shown->setHost(&hosts[i]);
    }
    {
        const kx::LayerTransaction transaction;
        for (const Host &host : hosts)
            host.shown->setFillColor(NSColor{1, 0, 0, 1});
    }
    EXPECT_EQ(hosts[0].told + hosts[1].told, 1);
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

    const auto negative = CGPathCreateMutable();
    CGPathAddRect(*negative, {{10, 0}, {-4, 8}});
    EXPECT_EQ(*negative->boundingBox(), (NSRect{{6, 0}, {4, 8}}));
}

TEST(Path, LayerKeepsACopy)
{
    const auto layer = CALayer::layer<CAShapeLayer>();
    const auto path = CGPathCreateMutable();
    CGPathAddRect(*path, {{0, 0}, {1, 1}});
    layer->setPath(path);
    CGPathMoveToPoint(*path, 9, 9);
    EXPECT_EQ(layer->path()->figures().size(), 1U);
}

/// Union and overlap of areas against counting points on a grid, negative sizes included.
TEST(RectMath, EqualsCountingPoints)
{
    std::mt19937 random(1);
    std::uniform_int_distribution<int> place(0, 7);
    std::uniform_int_distribution<int> size(-4, 4);
    const auto any = [&] {
        return NSRect{{double(place(random)), double(place(random))}, {double(size(random)), double(size(random))}};
    };
    for (int round = 0; round < 2000; ++round) {
        const NSRect a = any();
        const NSRect b = any();
        SCOPED_TRACE(testing::PrintToString(a) + " and " + testing::PrintToString(b));
        for (double x = -4.5; x < 12; ++x) {
            for (double y = -4.5; y < 12; ++y) {
                const bool inA = kx::contains(a, {x, y});
                const bool inB = kx::contains(b, {x, y});
                ASSERT_EQ(kx::contains(kx::intersected(a, b), {x, y}), inA && inB) << x << ", " << y;
                ASSERT_TRUE(kx::contains(kx::united(a, b), {x, y}) || !(inA || inB)) << x << ", " << y;
            }
        }
        if (!kx::isEmpty(a) && !kx::isEmpty(b)) {
            ASSERT_EQ(CGRectGetMaxX(kx::united(a, b)), std::max(CGRectGetMaxX(a), CGRectGetMaxX(b)));
        }
    }
}

} // namespace
