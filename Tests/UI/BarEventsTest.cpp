// The transport bar under a real pointer's and keyboard's events, deep inside other widgets.
#include "Tests/Toolkit/ToolkitTesting.h"
#include "Tests/UI/HostedBar.h"

#include <QAccessible>
#include <QApplication>
#include <QElapsedTimer>
#include <QPointer>
#include <QScreen>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>

namespace
{

using bar::Heard;

/// Counts how often a widget is painted while this lives.
struct Paints : QObject {
    explicit Paints(QWidget &widget) { widget.installEventFilter(this); }
    bool eventFilter(QObject *, QEvent *event) override
    {
        count += event->type() == QEvent::Paint;
        return false;
    }

    int count = 0;
};

/// The bar is two widgets deep and off the corner of its window, so that only true window coordinates hit.
class BarEvents : public testing::Test
{
protected:
    BarEvents()
    {
        window.resize(600, 300);
        group.setGeometry(30, 20, 560, 260);
        bar.widget->move(50, 70);
        window.show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&window));
    }

    // Points of the bar, y upward from its bottom; the bar's own strip is from 16 to 24, the knobs below it.
    static QPoint at(double x, double y) { return QPointF(x, 40 - y).toPoint(); }
    void press(double x, double y) { QTest::mousePress(bar.widget, Qt::LeftButton, {}, at(x, y)); }
    void drag(double x, double y) { QTest::mouseEvent(QTest::MouseMove, bar.widget, Qt::LeftButton, {}, at(x, y)); }
    void release(double x, double y) { QTest::mouseRelease(bar.widget, Qt::LeftButton, {}, at(x, y)); }

    QWidget window;
    QWidget group{&window};
    bar::Hosted bar{&group};
};

TEST_F(BarEvents, PlayLineFollowsThePointerWithinItsLimits)
{
    press(150, 20);
    EXPECT_EQ(bar.delegate->take(), (Heard{{"play", 154350}}));
    bar.view->setPlayFrame(5);
    EXPECT_EQ(bar.view->playFrame(), 154350) << "a drag keeps the line";
    drag(60, 500); // above the window
    drag(-900, 20);
    drag(900, 20);
    drag(30, 20);
    release(30, 20);
    EXPECT_EQ(bar.delegate->take(), (Heard{{"play", 55125}, {"play", 0}, {"play", 220500}, {"play", 22050}}));
    EXPECT_FALSE(bar.view->isDragging());
    bar.view->setPlayFrame(5);
    EXPECT_EQ(bar.view->playFrame(), 5);
}

TEST_F(BarEvents, KnobStopsAtItsLimitAndComesBack)
{
    press(45, 12); // the start knob, tip at 50
    drag(45 + 40, 12);
    EXPECT_EQ(bar.view->startFrame(), 88200);
    drag(45 + 900, 12); // a second before the end: x = 210 - 40
    EXPECT_EQ(bar.view->startFrame(), 176400);
    drag(45 + 40, 12); // back across the last place that moved it
    EXPECT_NEAR(double(bar.view->startFrame()), 0, 1) << "the drag goes on from where the limit held the knob";
    EXPECT_EQ(bar.delegate->take(), Heard{}) << "told when it is let go";
    release(45 + 40, 12);
    EXPECT_EQ(bar.delegate->take(), (Heard{{"start", bar.view->startFrame()}}));

    press(215, 12);
    release(215, 12);
    EXPECT_EQ(bar.delegate->take(), (Heard{{"end", 220500}})) << "also without a move";
}

TEST_F(BarEvents, OtherPlacesButtonsAndStatesMoveNothing)
{
    press(300, 20); // the outline outside the range
    drag(100, 20);
    release(100, 20);
    press(300, 35); // nothing
    EXPECT_TRUE(bar.view->isDragging());
    bar.view->setPlayFrame(7);
    release(300, 35);
    EXPECT_FALSE(bar.view->isDragging());
    QTest::mouseClick(bar.widget, Qt::RightButton, {}, at(150, 20));
    EXPECT_EQ(bar.delegate->take(), Heard{});
    EXPECT_EQ(bar.view->playFrame(), 110250) << "a value given during any drag is dropped";

    press(150, 20);
    QTest::mousePress(bar.widget, Qt::RightButton, {}, at(160, 20));
    QTest::mouseRelease(bar.widget, Qt::RightButton, {}, at(160, 20));
    drag(170, 20);
    release(170, 20);
    EXPECT_EQ(bar.delegate->take(), (Heard{{"play", 154350}, {"play", 176400}}))
        << "a second button does not end the drag";

    bar.view->setEnabled(false);
    press(150, 20);
    drag(100, 20);
    release(100, 20);
    EXPECT_EQ(bar.delegate->take(), Heard{});
    bar.view->setEnabled(true);
    press(150, 20);
    window.hide(); // the window goes in the middle of a drag
    EXPECT_FALSE(bar.view->isDragging());
}

TEST_F(BarEvents, EveryEventOfAFastPointerIsToldAndPaintedOnceARefresh)
{
    Paints paints(*bar.widget);
    press(100, 20);
    QElapsedTimer time;
    time.start();
    for (int i = 0; i < 300; ++i) {
        drag(60 + i % 140, 20);
        QTest::qWait(1);
    }
    const double refreshes = double(time.elapsed()) / 1000 * bar.widget->screen()->refreshRate();
    release(100, 20);
    EXPECT_EQ(bar.delegate->take().size(), 301U);
    EXPECT_GE(paints.count, 2);
    EXPECT_LE(double(paints.count), refreshes + 2);
}

TEST_F(BarEvents, FramesFarBeyondTheFileLeaveTheirStopsAtTheEdge)
{
    for (const int64_t end : {std::numeric_limits<int64_t>::max(), std::numeric_limits<int64_t>::min()}) {
        bar.view->setEndFrame(end);
        QTest::qWait(2 * 1000 / 60); // past the refresh that a paint may wait for
        for (const QWidget *stop : bar.widget->findChildren<QWidget *>())
            EXPECT_LE(std::abs(stop->x()), bar.widget->width()) << end;
    }
}

TEST_F(BarEvents, KeysMoveEachPartWithinTheMousesLimits)
{
    window.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    struct Stop {
        const char *name;
        const char *value;
        Heard heard; // of Right, Page Up, End, Right, Home
    };
    const std::vector<Stop> stops{{"Play position", "2.5 seconds", {{"play", 114660}, {"play", 220500}, {"play", 0}}},
                                  {"Loop start", "1 second", {{"start", 48510}, {"start", 176400}, {"start", 0}}},
                                  {"Loop end", "5 seconds", {{"end", 224910}, {"end", 441000}, {"end", 44100}}}};
    QWidget *stop = QApplication::focusWidget();
    for (const Stop &expected : stops) {
        ASSERT_NE(stop, nullptr);
        QAccessibleInterface *spoken = QAccessible::queryAccessibleInterface(stop);
        EXPECT_EQ(spoken->role(), QAccessible::Slider);
        EXPECT_EQ(spoken->text(QAccessible::Name), expected.name);
        EXPECT_EQ(spoken->text(QAccessible::Value), expected.value);
        for (const Qt::Key key : {Qt::Key_Right, Qt::Key_PageUp, Qt::Key_End, Qt::Key_Right, Qt::Key_Home})
            QTest::keyClick(stop, key);
        EXPECT_EQ(bar.delegate->take(), expected.heard) << "at a limit nothing is told";
        QTest::keyClick(stop, Qt::Key_Tab);
        stop = QApplication::focusWidget();
    }
    bar.view->setEnabled(false);
    EXPECT_TRUE(QTest::qWaitFor(
        [&] { return !QApplication::focusWidget() || QApplication::focusWidget()->parent() != bar.widget; }));
}

TEST(Alerts, MayLoseTheWindowTheyStandOver)
{
    kx::installToolkit();
    QPointer<QWidget> window = new QWidget;
    window->show();
    window->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window));
    QTimer::singleShot(0, window, [&] { delete window; });
    NSAlert().runModal();
    EXPECT_FALSE(window);
}

} // namespace
