// Views in real widgets, driven by real events of the toolkit, without a display.
#include "KXFW/Platform/Toolkit/ViewWidget.h"
#include "KXFW/Platform/Foundation/NSColor.h"
#include "KXFW/Platform/Foundation/NSException.h"
#include "KXFW/Platform/Layers/CAShapeLayer.h"
#include "KXFW/Platform/Layers/CATransaction.h"
#include "KXFW/Platform/Toolkit/NSGraphics.h"

#include "Tests/Support/CapturedLog.h"
#include "Tests/Toolkit/ToolkitTesting.h"

#include <QElapsedTimer>
#include <QPaintEvent>
#include <QPointer>
#include <QScreen>
#include <QTest>

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

using kx::test::AlertRecorder;

namespace
{

/// Writes down what happens to it: "down 3,4".
struct LoggingView : NSView {
    std::vector<std::string> log;
    std::vector<NSRect> dirty;
    NSPoint last;
    bool fails = false;
    std::function<void()> released = [] {};

    void note(const char *what, const NSEvent &event)
    {
        last = convertPoint(event.locationInWindow());
        log.push_back(what + std::to_string(int(last.x)) + "," + std::to_string(int(last.y)));
        if (fails)
            throw NSException("Fault", "the view is out of order");
    }
    void mouseDown(const NSEvent &event) override { note("down ", event); }
    void mouseDragged(const NSEvent &event) override { note("drag ", event); }
    void mouseUp(const NSEvent &event) override
    {
        note("up ", event);
        released();
    }
    void layout() override { log.push_back("layout"); }
    void drawRect(const NSRect &area) override { dirty.push_back(area); }
};

using Log = std::vector<std::string>;

/// A view of 100 by 40 deep inside other widgets: its top left corner is at (30, 20) of a window of 200 by 120.
class Hosted : public testing::Test
{
protected:
    Hosted()
    {
        window.resize(200, 120);
        outer.setGeometry(10, 5, 180, 110);
        inner.setGeometry(20, 15, 150, 90);
        widget->setGeometry(0, 0, 100, 40);
        window.show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&window));
        view->log.clear();
        settle();
    }

    void deactivate()
    {
        QEvent gone(QEvent::WindowDeactivate);
        QCoreApplication::sendEvent(widget, &gone);
    }
    void settle()
    {
        QCoreApplication::sendPostedEvents();
        view->dirty.clear();
        view->setNeedsDisplay(view->bounds()); // is painted with all that waits for the screen's refresh
        EXPECT_TRUE(QTest::qWaitFor([this] { return !view->dirty.empty(); }));
        view->dirty.clear();
    }

    QWidget window;
    QWidget outer{&window};
    QWidget inner{&outer};
    std::shared_ptr<LoggingView> view = std::make_shared<LoggingView>();
    kx::ViewWidget *widget = new kx::ViewWidget(view, &inner);
};

TEST_F(Hosted, KnowsItsPlaceInTheWindowFromTheBottomLeft)
{
    widget->resize(80, 30);
    EXPECT_EQ(view->frame(), (NSRect{{30, 120 - 20 - 30}, {80, 30}}));
    EXPECT_EQ(view->log, Log{"layout"});

    outer.move(40, 5); // nobody tells the widget, yet the next event is placed right
    widget->backWithLayer();
    QTest::mouseClick(widget, Qt::LeftButton, {}, {7, 9});
    EXPECT_EQ(view->log.back(), "up 7,21");
    EXPECT_EQ(view->layer()->frame(), (NSRect{{60, 70}, {80, 30}}));

    // As the toolkit tells it on a screen with more pixels than points: whole points but for the place in the window.
    QMouseEvent press(QEvent::MouseButtonPress, {8, 9}, {67.5, 29.25}, widget->mapToGlobal(QPointF(8, 9)),
                      Qt::LeftButton, Qt::LeftButton, {});
    QCoreApplication::sendEvent(widget, &press);
    EXPECT_EQ(view->last, (NSPoint{7.5, 20.75}));
}

TEST_F(Hosted, EachPressOfTheLeftButtonHasOneRelease)
{
    QTest::mousePress(widget, Qt::RightButton, {}, {5, 5});
    QTest::mouseMove(widget, {6, 6});
    QTest::mouseRelease(widget, Qt::RightButton, {}, {5, 5});
    EXPECT_EQ(view->log, Log{}) << "other buttons and bare moves are not the view's";

    QTest::mousePress(widget, Qt::LeftButton, {}, {10, 10});
    QTest::mousePress(widget, Qt::RightButton, {}, {11, 10});
    QTest::mouseRelease(widget, Qt::RightButton, {}, {11, 10});
    QTest::mouseEvent(QTest::MouseMove, widget, Qt::LeftButton, {}, {300, -50}); // far outside of view and window
    QTest::mouseRelease(widget, Qt::LeftButton, {}, {300, -50});
    EXPECT_EQ(view->log, (Log{"down 10,30", "drag 300,90", "up 300,90"}));

    const std::function<void()> ends[] = {
        [&] { widget->hide(); }, [&] { widget->setEnabled(false); }, [&] { deactivate(); },
        [&] { // a move without the button: its release went elsewhere
            QMouseEvent move(QEvent::MouseMove, {1, 1}, widget->mapToGlobal(QPointF(1, 1)), Qt::NoButton, {}, {});
            QCoreApplication::sendEvent(widget, &move);
        }};
    for (const auto &end : ends) {
        widget->setEnabled(true);
        widget->show();
        view->log.clear();
        QTest::mousePress(widget, Qt::LeftButton, {}, {1, 1});
        end();
        const Log ended = view->log;
        EXPECT_EQ(ended, (Log{"down 1,39", "up 1,39"})) << &end - ends;
        QTest::mouseRelease(widget, Qt::LeftButton, {}, {1, 1});
        EXPECT_EQ(view->log, ended) << "released once";
    }
    for (const bool disable : {true, false}) { // what hears of the release may delete the widget
        const QPointer<QWidget> seen = widget;
        view->released = [this] { delete widget; };
        QTest::mousePress(widget, Qt::LeftButton, {}, {1, 1});
        disable ? widget->setEnabled(false) : deactivate();
        EXPECT_FALSE(seen);
        widget = new kx::ViewWidget(view, &inner);
    }
    view->log.clear();
    view->released = [] {};
    QTest::mousePress(widget, Qt::LeftButton, {}, {1, 1});
    delete widget; // while the view lives on
    EXPECT_EQ(view->log.back().substr(0, 3), "up ");
}

TEST_F(Hosted, ExceptionsEndAtTheEdgeAndAreShownOnce)
{
    AlertRecorder alerts;
    kx::test::CapturedLog log;
    view->fails = true;
    const auto click = [&] {
        QTest::mouseClick(widget, Qt::LeftButton, {}, {1, 1});
        QTest::mouseClick(widget, Qt::LeftButton, {}, {1, 1});
        QCoreApplication::sendPostedEvents();
        return alerts.shown.size();
    };
    EXPECT_EQ(click(), 1U) << "a fault that repeats does not pile up boxes";
    EXPECT_EQ(view->log.size(), 4U) << "the loop goes on";
    EXPECT_EQ(alerts.shown[0], "The action failed.: the view is out of order");
    EXPECT_EQ(log.messages().at(0), "The action failed.: Fault: the view is out of order");
    alerts.fails = true;
    for (const size_t shown : {2U, 3U})
        EXPECT_EQ(click(), shown) << "one that could not be shown does not keep the next one back";
}

std::shared_ptr<CAShapeLayer> addBox(CALayer &parent, const NSRect &frame, const NSColor &color)
{
    auto layer = CALayer::layer<CAShapeLayer>();
    layer->setAnchorPoint({0, 0});
    layer->setFrame(frame);
    const auto path = CGPathCreateMutable();
    CGPathAddRect(*path, layer->bounds());
    layer->setPath(path);
    layer->setFillColor(color);
    parent.addSublayer(layer);
    return layer;
}

TEST_F(Hosted, PaintsChangedPartsOnlyAndOnceATransaction)
{
    widget->backWithLayer();
    const auto box = addBox(*view->layer(), {{10, 5}, {4, 4}}, {1, 0, 0, 1});
    settle();
    {
        const kx::LayerTransaction transaction;
        box->setPosition({20, 5});
        box->setPosition({30, 5});
        box->setFillColor(NSColor{0, 0, 1, 1});
    }
    QTRY_COMPARE(view->dirty.size(), 1U);
    const NSRect area = view->dirty.front();
    EXPECT_LE(area.size.width, 30) << "both places of the box, with soft edges";
    EXPECT_LE(area.size.height, 6.01);
    EXPECT_LE(area.origin.y, 5);
}

/// Moves that come faster than the screen shows them are painted no more often than it does.
TEST_F(Hosted, PaintsAtMostOnceARefresh)
{
    view->setWantsLayer(true); // by the view itself
    const auto box = addBox(*view->layer(), {{0, 5}, {4, 4}}, {1, 0, 0, 1});
    settle();
    QElapsedTimer time;
    time.start();
    constexpr int kMoves = 300;
    for (int i = 0; i < kMoves; ++i) {
        box->setPosition({i % 90 + 0.5, 5});
        QTest::qWait(1);
    }
    const double refreshes = double(time.elapsed()) / 1000 * widget->screen()->refreshRate();
    EXPECT_GE(view->dirty.size(), 2U);
    EXPECT_LE(double(view->dirty.size()), refreshes + 2);
}

struct FramedView : NSView {
    void drawRect(const NSRect &) override
    {
        NSColor::blueColor().set();
        NSFrameRect({{6, 15}, {-4, 3}});
        NSFrameRect({{30, 15}, {0, 3}});
    }
};

TEST(Pictures, HaveFramesInsideAndLayersCutOffAtTheBoundsThatMask)
{
    const auto view = std::make_shared<FramedView>();
    kx::ViewWidget widget(view);
    widget.backWithLayer();
    widget.resize(40, 20);
    const auto parent = addBox(*view->layer(), {{10, 4}, {10, 10}}, {0, 1, 0, 1});
    parent->setMasksToBounds(true);
    addBox(*parent, {{5, 0}, {15, 5}}, {0, 0, 0, 0.5});
    const QImage image = kx::test::picture(widget, 1);
    EXPECT_NEAR(image.pixelColor(17, 13).green(), 127, 2) << "the upper layer lets half through";
    const QColor back = widget.palette().color(QPalette::Window);
    for (const auto &[x, y, color] : {std::tuple(12, 13, QColor(Qt::green)),
                                      {22, 13, back},
                                      {2, 2, Qt::blue},
                                      {5, 4, Qt::blue},
                                      {3, 3, back},
                                      {6, 4, back},
                                      {30, 3, back}})
        EXPECT_EQ(image.pixelColor(x, y), color) << x << ", " << y;
    NSFrameRect({{0, 0}, {5, 5}}); // outside of drawRect: nothing to draw on
}

} // namespace
