// View controllers with the interface files that are built into this program: loading, and who outlives whom.
#include "Tests/Toolkit/InterfaceTesting.h"
#include "Tests/Toolkit/TestScreenController.h"

#include <QApplication>
#include <QPointer>
#include <QTest>

#include <gtest/gtest.h>

#include <thread>

using namespace kx::test;
using Log = std::vector<std::string>;

namespace
{

/// A class without an interface file of its name.
struct ScreenWithoutFile : NSViewController {
    using NSViewController::NSViewController;
};

struct FailingScreen : TestScreen {
    FailingScreen() : TestScreen("TestScreen") {}
    void viewDidLoad() override
    {
        if (fails)
            throw NSException("Fault", "no player");
    }
    bool fails = true;
};

} // namespace

TEST(NSViewController, LoadsTheFileNamedAsItsClassWhenTheViewIsWanted)
{
    const auto controller = std::make_shared<TestScreen>();
    EXPECT_FALSE(controller->window());
    QWidget *view = controller->view();
    ASSERT_TRUE(view);
    EXPECT_EQ(view->objectName(), "TestScreen");
    EXPECT_EQ(controller->view(), view);
    EXPECT_EQ(controller->takeLog(), Log{"viewDidLoad"}) << "once, with all outlets in place";
    EXPECT_EQ(controller->window().widget(), view);
    EXPECT_EQ(controller->cancelButton.widget()->window(), controller->sheet.widget());
    QTest::mouseClick(controller->cancelButton.widget(), Qt::LeftButton);
    EXPECT_EQ(controller->takeLog(), Log{"clickCancelButton:"}) << "from the file beside the screen's";
}

TEST(NSViewController, SaysWhichFileItMisses)
{
    const auto unnamed = std::make_shared<ScreenWithoutFile>();
    EXPECT_EQ(faultOf([&] { (void)unnamed->view(); }),
              "ScreenWithoutFile.ui: no such interface file in the bundle test_Toolkit");
}

TEST(NSViewController, LeavesNothingBehindWhenItCannotFinishLoading)
{
    const auto controller = std::make_shared<FailingScreen>();
    const auto widgets = QApplication::allWidgets();
    EXPECT_EQ(faultOf([&] { (void)controller->view(); }), "Fault: no player");
    EXPECT_EQ(QApplication::allWidgets(), widgets);
    EXPECT_FALSE(controller->playButton);
    controller->fails = false;
    EXPECT_TRUE(controller->view()) << "tries again";
}

TEST(NSViewController, OwnsItsWindowsUntilTheyHaveAParent)
{
    auto controller = std::make_shared<TestScreen>();
    const QPointer<QWidget> alone = controller->view();
    const QPointer<QWidget> sheet = controller->sheet.widget();
    std::weak_ptr<TestScreen> weak = controller;
    controller.reset();
    EXPECT_TRUE(weak.expired()) << "the view does not hold its controller";
    EXPECT_FALSE(alone || sheet);

    auto window = std::make_unique<QWidget>();
    bool acted = false;
    for (const bool windowFirst : {false, true}) {
        controller = std::make_shared<TestScreen>();
        controller->view()->setParent(window.get());
        controller->onAction = [&] { acted = true; };
        EXPECT_EQ(controller->window().widget(), window.get());
        const QPointer<QWidget> button = controller->playButton.widget();
        if (windowFirst)
            window.reset();
        else
            controller.reset();
        ASSERT_EQ(button.isNull(), windowFirst) << "the window owns it";
        if (button)
            QTest::mouseClick(button, Qt::LeftButton);
    }
    EXPECT_FALSE(acted || controller->view());
    controller->playButton.setTitle("Stop"); // nothing happens
}

TEST(NSViewController, MayGoInItsOwnAction)
{
    auto controller = std::make_shared<TestScreen>();
    controller->view()->show();
    const QPointer<QWidget> field = controller->timeField.widget();
    controller->onAction = [&] { controller.reset(); };
    QTest::keyClick(field, Qt::Key_Return); // the toolkit uses the field after the action
    ASSERT_FALSE(controller);
    EXPECT_TRUE(field) << "gone while it sent its action";
    QCoreApplication::sendPostedEvents();
    EXPECT_FALSE(field);
}

TEST(NSViewController, MayGoOnAnotherThread)
{
    auto controller = std::make_shared<TestScreen>();
    const QPointer<QWidget> view = controller->view();
    std::thread([last = std::exchange(controller, nullptr)]() mutable { last.reset(); }).join();
    EXPECT_TRUE(view);
    QCoreApplication::sendPostedEvents();
    EXPECT_FALSE(view);
}
