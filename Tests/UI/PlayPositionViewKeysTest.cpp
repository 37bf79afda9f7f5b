// The transport bar for keys and screen readers.
#include "Tests/Toolkit/ToolkitTesting.h"
#include "Tests/UI/BarTesting.h"

#include "KXFW/Platform/Dispatch/MainQueue.h"
#include "KXFW/Platform/Toolkit/SliderElement.h"
#include "KXFW/UI/SpokenTime.h"
#include "Tests/Support/EventCount.h"

#include <QAccessible>
#include <QApplication>
#include <QMessageBox>
#include <QPointer>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

#include <cstdlib>

namespace
{

using bar::Heard;

TEST(SpokenTime, SaysHoursMinutesSeconds)
{
    const std::pair<int64_t, const char *> times[] = {{-44100, "0 seconds"},
                                                      {2204, "0 seconds"},
                                                      {2205, "0.1 seconds"},
                                                      {44100, "1 second"},
                                                      {2646000 - 1, "1 minute"},
                                                      {5336100, "2 minutes 1 second"},
                                                      {158760000 + 2756250, "1 hour 1 minute 2.5 seconds"},
                                                      {bar::kLargest, "58096321723 hours 42 minutes 3.7 seconds"}};
    for (const auto &[frame, spoken] : times)
        EXPECT_EQ(kx::spokenTime(frame), spoken) << frame;
}

/// The bar in a window.
class PlayPositionViewKeys : public testing::Test
{
protected:
    PlayPositionViewKeys()
    {
        window.resize(600, 300);
        bar.widget->move(50, 70);
        window.show();
        window.activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&window));
    }

    QWidget window;
    bar::Hosted bar{&window};
};

TEST_F(PlayPositionViewKeys, MoveEachPartWithinTheMousesLimits)
{
    struct Stop {
        const char *name;
        const char *value;
        QRect place;
        Heard heard; // of Right, Page Up, End, Right, Home
    };
    const std::vector<Stop> stops{
        {"Play position", "2.5 seconds", {108, 10, 5, 16}, {{"play", 114660}, {"play", 220500}, {"play", 0}}},
        {"Loop start", "1 second", {38, 22, 14, 14}, {{"start", 48510}, {"start", 176400}, {"start", 0}}},
        {"Loop end", "5 seconds", {208, 22, 14, 14}, {{"end", 224910}, {"end", 441000}, {"end", 44100}}}};
    QWidget *stop = QApplication::focusWidget();
    for (const Stop &expected : stops) {
        ASSERT_NE(stop, nullptr);
        QAccessibleInterface *spoken = QAccessible::queryAccessibleInterface(stop);
        EXPECT_EQ(spoken->text(QAccessible::Name), expected.name);
        EXPECT_EQ(spoken->text(QAccessible::Value), expected.value);
        EXPECT_TRUE(QTest::qWaitFor([&] { return stop->geometry() == expected.place; })) << expected.name;
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

TEST_F(PlayPositionViewKeys, StayAtTheEdgeForFramesFarBeyondTheFile)
{
    for (const int64_t end : {bar::kLargest, bar::kSmallest}) {
        kx::test::EventCount paints(*bar.widget, QEvent::Paint);
        bar.view->setEndFrame(end);
        EXPECT_TRUE(paints.await(1)); // the elements move right before
        for (const QWidget *stop : bar.widget->findChildren<QWidget *>())
            EXPECT_LE(std::abs(stop->x()), bar.widget->width()) << end;
    }
}

TEST(PlayPositionViewElements, RestWhileDraggedDisabledOrGone)
{
    auto view = bar::view(420, 441000);
    const auto listener = std::make_shared<bar::Listener>();
    view->setDelegate(listener);
    const auto elements = view->sliderElements();
    view->setPlayFrame(110250);
    view->mouseDown(NSEvent({300, 35}));
    elements[0]->move(0);
    view->mouseUp(NSEvent({300, 35}));
    view->setEnabled(false);
    elements[0]->move(0);
    EXPECT_EQ(view->playFrame(), 110250);
    view.reset();
    for (const auto &element : elements) {
        element->move(4410);
        EXPECT_FALSE(element->enabled());
        EXPECT_EQ(element->frame(), NSRect{});
    }
    EXPECT_EQ(listener->take(), Heard{});
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

TEST(Alerts, JoinTheOneThatIsOpen)
{
    int answered = 0;
    const auto show = [&](const char *message, const char *text) {
        kx::MainQueue::async([&answered, message, text] {
            NSAlert alert;
            alert.setMessageText(message);
            alert.setInformativeText(text);
            alert.runModal();
            ++answered;
        });
    };
    kx::installToolkit();
    for (const char *file : {"a.mp3", "b.mp3", "a.mp3"})
        show("Failed to read a file.", file);
    show("The disk is full.", "c.aiff");
    QTimer::singleShot(0, [&] { // after them
        std::vector<QMessageBox *> boxes;
        for (QWidget *widget : QApplication::topLevelWidgets())
            if (auto *box = qobject_cast<QMessageBox *>(widget); box && box->isVisible())
                boxes.push_back(box);
        ASSERT_EQ(boxes.size(), 1U);
        EXPECT_EQ(boxes[0]->text(), "Failed to read a file.");
        EXPECT_EQ(boxes[0]->informativeText(), "a.mp3\n\nb.mp3\n\nThe disk is full.\nc.aiff");
        boxes[0]->accept();
    });
    EXPECT_TRUE(QTest::qWaitFor([&] { return answered == 4; }));
}

} // namespace
