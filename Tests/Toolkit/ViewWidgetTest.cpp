// Views in real widgets, driven by real events of the toolkit, without a display.
#include "KXFW/Platform/Toolkit/ViewWidget.h"
#include "KXFW/Platform/Foundation/NSColor.h"
#include "KXFW/Platform/Foundation/NSException.h"
#include "KXFW/Platform/Layers/CAShapeLayer.h"
#include "KXFW/Platform/Layers/CATransaction.h"
#include "KXFW/Platform/Toolkit/NSGraphics.h"
#include "KXFW/Platform/Toolkit/SliderElement.h"

#include "Tests/Support/CapturedLog.h"
#include "Tests/Toolkit/ToolkitTesting.h"

#include <QAccessible>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QPaintEvent>
#include <QPointer>
#include <QScreen>
#include <QTest>
#include <QWindow>

#include <gtest/gtest.h>

#include <functional>
#include <limits>
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
        const NSPoint p = convertPoint(event.locationInWindow());
        last = p;
        log.push_back(std::string(what) + " " + std::to_string(int(p.x)) + "," + std::to_string(int(p.y)));
        if (fails)
            throw NSException("Fault", "the view is out of order");
    }
    void mouseDown(const NSEvent &event) override { note("down", event); }
    void mouseDragged(const NSEvent &event) override { note("drag", event); }
    void mouseUp(const NSEvent &event) override
    {
        note("up", event);
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
        [&] { widget->hide(); },
        [&] { widget->setEnabled(false); },
        [&] { deactivate(); },
        [&] {
            QMouseEvent move(QEvent::MouseMove, {1, 1}, widget->mapToGlobal(QPointF(1, 1)), Qt::NoButton, {}, {});
            QCoreApplication::sendEvent(widget, &move);
        },
    };
    for (const auto &take : ends) {
        widget->setEnabled(true);
        widget->show();
        view->log.clear();
        QTest::mousePress(widget, Qt::LeftButton, {}, {1, 1});
        take();
        ASSERT_EQ(view->log.size(), 2U) << testing::PrintToString(view->log);
        EXPECT_EQ(view->log.back(), "up 1,39");
        QTest::mouseRelease(widget, Qt::LeftButton, {}, {1, 1});
        EXPECT_EQ(view->log.size(), 2U) << "released once";
    }
}

TEST_F(Hosted, MayGoWhenItsPressIsEnded)
{
    const std::function<void()> ends[] = {[&] { widget->setEnabled(false); }, [&] { deactivate(); }};
    for (const auto &end : ends) {
        const QPointer<QWidget> seen = widget;
        view->released = [this] { delete widget; };
        QTest::mousePress(widget, Qt::LeftButton, {}, {1, 1});
        end();
        EXPECT_FALSE(seen);
        widget = new kx::ViewWidget(view, &inner);
    }
}

TEST_F(Hosted, ExceptionsEndAtTheEdgeAndAreShownOnce)
{
    AlertRecorder alerts;
    kx::test::CapturedLog log;
    view->fails = true;
    QTest::mouseClick(widget, Qt::LeftButton, {}, {1, 1});
    QTest::mouseClick(widget, Qt::LeftButton, {}, {1, 1});
    EXPECT_EQ(view->log.size(), 4U) << "the loop goes on";
    QCoreApplication::sendPostedEvents();
    ASSERT_EQ(alerts.shown.size(), 1U) << "a fault that repeats does not pile up boxes";
    EXPECT_EQ(alerts.shown[0].messageText(), "The action failed.");
    EXPECT_EQ(alerts.shown[0].informativeText(), "the view is out of order");
    EXPECT_EQ(log.messages().at(0), "The action failed.: Fault: the view is out of order");
    QTest::mouseClick(widget, Qt::LeftButton, {}, {1, 1});
    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(alerts.shown.size(), 2U) << "answered, the next one shows";

    alerts.fails = true;
    for (const size_t shown : {3U, 4U}) {
        QTest::mouseClick(widget, Qt::LeftButton, {}, {1, 1});
        QCoreApplication::sendPostedEvents();
        EXPECT_EQ(alerts.shown.size(), shown) << "one that could not be shown does not keep the next one back";
    }
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

TEST(LayerPictures, CutOffAtTheBoundsThatMask)
{
    const auto view = std::make_shared<NSView>();
    kx::ViewWidget widget(view);
    widget.backWithLayer();
    widget.resize(40, 20);
    const auto parent = addBox(*view->layer(), {{10, 4}, {10, 10}}, {0, 1, 0, 1});
    parent->setMasksToBounds(true);
    addBox(*parent, {{5, 0}, {15, 5}}, {0, 0, 0, 0.5});
    const QImage image = kx::test::picture(widget, 1);
    EXPECT_NEAR(image.pixelColor(17, 13).green(), 127, 2) << "the upper layer lets half through";
    EXPECT_NE(image.pixelColor(22, 13).green(), 127);
    EXPECT_EQ(image.pixelColor(12, 13), QColor(Qt::green));
}

/// An element between two limits; a move is kept within them.
struct TestElement : kx::SliderElement {
    int64_t now = 50;
    bool on = true;
    std::string name() const override { return "Play position"; }
    std::string valueText() const override { return std::to_string(now) + " things"; }
    bool enabled() const override { return on; }
    NSRect frame() const override { return {{10, 10}, {4, 12}}; }
    int64_t value() const override { return now; }
    int64_t minimum() const override { return 0; }
    int64_t maximum() const override { return 100; }
    int64_t step() const override { return 1; }
    int64_t page() const override { return 10; }
    void move(int64_t value) override { now = std::clamp<int64_t>(value, 0, 100); }
};

struct ElementView : NSView {
    std::shared_ptr<TestElement> first = std::make_shared<TestElement>();
    std::shared_ptr<TestElement> second = std::make_shared<TestElement>();
    int presses = 0;
    std::vector<std::shared_ptr<kx::SliderElement>> sliderElements() override { return {first, second}; }
    void mouseDown(const NSEvent &) override { ++presses; }
};

TEST(SliderElements, AreFocusStopsThatKeysMove)
{
    const auto view = std::make_shared<ElementView>();
    QWidget window;
    auto *widget = new kx::ViewWidget(view, &window);
    widget->setGeometry(0, 0, 100, 40);
    QLineEdit after(&window);
    widget->awake();
    window.show();
    window.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));

    QWidget *stop = QApplication::focusWidget(); // an active window focuses its first stop
    ASSERT_NE(stop, nullptr);
    const std::vector<std::pair<Qt::Key, int64_t>> keys{
        {Qt::Key_Right, 51},    {Qt::Key_Up, 52},  {Qt::Key_Left, 51}, {Qt::Key_Down, 50}, {Qt::Key_PageUp, 60},
        {Qt::Key_PageDown, 50}, {Qt::Key_Home, 0}, {Qt::Key_Left, 0},  {Qt::Key_End, 100}, {Qt::Key_A, 100}};
    for (const auto &[key, value] : keys) {
        QTest::keyClick(stop, key);
        EXPECT_EQ(view->first->now, value) << key;
    }
    QTest::keyClick(stop, Qt::Key_Left, Qt::ControlModifier);
    EXPECT_EQ(view->first->now, 100) << "with a modifier it is somebody's shortcut";
    view->first->now = std::numeric_limits<int64_t>::min();
    QTest::keyClick(stop, Qt::Key_Left);
    EXPECT_EQ(view->first->now, 0) << "from outside its limits to the nearer one";
    view->first->now = std::numeric_limits<int64_t>::max();
    QTest::keyClick(stop, Qt::Key_PageUp);
    EXPECT_EQ(view->first->now, 100);

    QAccessibleInterface *spoken = QAccessible::queryAccessibleInterface(stop);
    ASSERT_NE(spoken, nullptr);
    EXPECT_EQ(spoken->role(), QAccessible::Slider);
    ASSERT_NE(spoken->valueInterface(), nullptr);
    EXPECT_EQ(spoken->valueInterface()->maximumValue().toLongLong(), 100);
    spoken->valueInterface()->setCurrentValue(qlonglong(30));
    EXPECT_EQ(view->first->now, 30);
    widget->setEnabled(false);
    spoken->valueInterface()->setCurrentValue(qlonglong(70));
    EXPECT_EQ(view->first->now, 30) << "nor by a screen reader while it is disabled";
    widget->setEnabled(true);
    stop->setFocus();

    QTest::keyClick(stop, Qt::Key_Tab);
    EXPECT_NE(QApplication::focusWidget(), stop);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Home);
    EXPECT_EQ(view->second->now, 0);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    EXPECT_EQ(QApplication::focusWidget(), &after) << "the stops come where the view does";

    QTest::mouseClick(window.windowHandle(), Qt::LeftButton, {}, {12, 25}); // where the elements lie
    EXPECT_EQ(view->presses, 1) << "the mouse is the view's";
}

struct FramedView : NSView {
    void drawRect(const NSRect &) override
    {
        NSColor::blueColor().set();
        NSFrameRect({{10, 10}, {-4, 3}});
        NSFrameRect({{30, 10}, {0, 3}});
    }
};

TEST(Drawing, FramesLieInsideAlsoOfRectanglesInsideOut)
{
    kx::ViewWidget widget(std::make_shared<FramedView>());
    widget.resize(40, 20);
    const QImage image = kx::test::picture(widget, 1);
    for (const auto &[x, y, isBlue] :
         {std::tuple(6, 7, true), {9, 9, true}, {7, 8, false}, {10, 9, false}, {30, 8, false}})
        EXPECT_EQ(image.pixelColor(x, y) == QColor(Qt::blue), isBlue) << x << ", " << y;
    NSFrameRect({{0, 0}, {5, 5}}); // outside of drawRect: nothing to draw on
}

} // namespace
