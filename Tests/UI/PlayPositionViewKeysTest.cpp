// The transport bar for keys and screen readers, and the toolkit's alerts.
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
#include <QTextEdit>
#include <QTimer>
#include <QVBoxLayout>
#include <QWindow>

#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

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

TEST(PlayPositionViewKeys, MoveEachPartWithinTheMousesLimits)
{
    QWidget window;
    bar::Hosted bar(&window);
    window.resize(600, 300);
    window.show();
    window.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    struct Stop {
        QString spoken;
        QRect place;
        Heard heard; // of Right, Page Up, End, Right, Home
    };
    const Stop stops[] = {
        {"Play position 2.5 seconds", {108, 10, 5, 16}, {{"play", 114660}, {"play", 220500}, {"play", 0}}},
        {"Loop start 1 second", {38, 22, 14, 14}, {{"start", 48510}, {"start", 176400}, {"start", 0}}},
        {"Loop end 5 seconds", {208, 22, 14, 14}, {{"end", 224910}, {"end", 441000}, {"end", 44100}}}};
    for (const Stop &expected : stops) {
        QWidget *stop = QApplication::focusWidget();
        ASSERT_NE(stop, nullptr);
        const QAccessibleInterface *read = QAccessible::queryAccessibleInterface(stop);
        EXPECT_EQ(read->text(QAccessible::Name) + " " + read->text(QAccessible::Value), expected.spoken);
        EXPECT_TRUE(QTest::qWaitFor([&] { return stop->geometry() == expected.place; })) << stop->geometry().x();
        for (const Qt::Key key : {Qt::Key_Right, Qt::Key_PageUp, Qt::Key_End, Qt::Key_Right, Qt::Key_Home})
            QTest::keyClick(stop, key);
        EXPECT_EQ(bar.delegate->take(), expected.heard) << "at a limit nothing is told";
        QTest::keyClick(stop, Qt::Key_Tab);
    }
    EXPECT_TRUE(bar.after->hasFocus()) << "the stops come where the bar does";

    bar.view->setEndFrame(220500);
    auto *line = bar.widget->findChild<QWidget *>();
    auto *read = QAccessible::queryAccessibleInterface(line)->valueInterface();
    const auto press = [&](Qt::Key key, int64_t from = 110250, Qt::KeyboardModifiers modifiers = {}) {
        bar.view->setPlayFrame(from);
        QTest::keyClick(line, key, modifiers);
        return bar.view->playFrame();
    };
    EXPECT_EQ(press(Qt::Key_Left), 110250 - 4410);
    EXPECT_EQ(press(Qt::Key_PageDown), 0);
    EXPECT_EQ(press(Qt::Key_Left, bar::kSmallest), 0) << "from outside its limits to the nearer one";
    EXPECT_EQ(press(Qt::Key_Up, bar::kLargest), bar.view->endFrame());
    EXPECT_EQ(press(Qt::Key_Left, 5, Qt::ControlModifier), 5) << "with a modifier it is somebody's shortcut";
    read->setCurrentValue(read->maximumValue().toLongLong() - 1);
    EXPECT_EQ(bar.view->playFrame(), bar.view->endFrame() - 1);
    bar.widget->setEnabled(false);
    read->setCurrentValue(qlonglong(70));
    EXPECT_EQ(bar.view->playFrame(), bar.view->endFrame() - 1) << "nor by a screen reader while it is disabled";
    bar.widget->setEnabled(true);
    QTest::mouseClick(window.windowHandle(), Qt::LeftButton, {}, line->mapTo(&window, QPoint(3, 8)));
    EXPECT_EQ(bar.delegate->take().back().first, "play") << "the mouse is the bar's";
    for (const int64_t end : {bar::kLargest, bar::kSmallest}) {
        kx::test::EventCount paints(*bar.widget, QEvent::Paint);
        bar.view->setEndFrame(end);
        EXPECT_TRUE(paints.await(1)); // the elements move right before
        for (const QWidget *stop : bar.widget->findChildren<QWidget *>())
            EXPECT_LE(std::abs(stop->x()), bar.widget->width()) << end;
    }
    bar.view->setEnabled(false);
    EXPECT_TRUE(QTest::qWaitFor([&] { return !bar.widget->findChild<QWidget *>()->isEnabled(); }));
}

TEST(TransportBar, TakesPartInTheLayoutAndTheTabOrder)
{
    QWidget window;
    auto *last = new QLineEdit(&window);
    const bar::Hosted bar(&window);
    auto *layout = new QVBoxLayout(&window);
    layout->addWidget(new QTextEdit); // takes all that the others leave
    for (QWidget *row :
         {static_cast<QWidget *>(bar.after), static_cast<QWidget *>(bar.widget), static_cast<QWidget *>(last)})
        layout->addWidget(row);
    QWidget::setTabOrder(bar.after, bar.widget);
    QWidget::setTabOrder(bar.widget, last);
    window.show();
    window.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    EXPECT_GE(bar.widget->height(), 2 * (kBarHeight / 2 + kMarkerHeight)) << "the knobs are seen";

    bar.after->setFocus();
    std::vector<QObject *> parents;
    for (int i = 0; i < 4; ++i) {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        parents.push_back(QApplication::focusWidget()->parent());
    }
    EXPECT_EQ(parents, (std::vector<QObject *>{bar.widget, bar.widget, bar.widget, &window}));
    EXPECT_TRUE(last->hasFocus());

    bar.widget->setFocus();
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Right);
    EXPECT_EQ(bar.delegate->take(), (Heard{{"play", 114660}}));
}

TEST(PlayPositionViewElements, RestWhileDraggedDisabledOrGone)
{
    auto view = bar::view(420, 441000);
    const auto listener = std::make_shared<bar::Listener>();
    view->setDelegate(listener);
    const auto elements = view->sliderElements();
    view->mouseDown(NSEvent({300, 35}));
    elements[0]->move(4410);
    view->mouseUp(NSEvent({300, 35}));
    view->setEnabled(false);
    elements[0]->move(4410);
    EXPECT_EQ(view->playFrame(), 0);
    view.reset();
    for (const auto &element : elements) {
        element->move(4410);
        EXPECT_TRUE(!element->enabled() && element->frame() == NSRect{});
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
    kx::installToolkit();
    int answered = 0;
    const std::pair<const char *, const char *> alerts[] = {{"Failed to read a file.", "a.mp3"},
                                                            {"Failed to read a file.", "b.mp3"},
                                                            {"Failed to read a file.", "a.mp3"},
                                                            {"The disk is full.", "c.aiff"}};
    for (const auto &each : alerts)
        kx::MainQueue::async([&answered, each] {
            NSAlert alert;
            alert.setMessageText(each.first);
            alert.setInformativeText(each.second);
            alert.runModal();
            ++answered;
        });
    QTimer::singleShot(0, [] { // after them
        auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
        EXPECT_EQ(box->text() + "|" + box->informativeText(),
                  "Failed to read a file.|a.mp3\n\nb.mp3\n\nThe disk is full.\nc.aiff");
        box->accept();
    });
    EXPECT_TRUE(QTest::qWaitFor([&] { return answered == 4; }));
}

} // namespace
