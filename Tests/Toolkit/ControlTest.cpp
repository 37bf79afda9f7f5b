// Controls: values as texts and numbers, and the actions that real events send.
#include "Tests/Toolkit/TestScreenController.h"

#include <QApplication>
#include <QIntValidator>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSlider>
#include <QTest>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using kx::test::TestScreen;
using Log = std::vector<std::string>;

namespace
{

constexpr int32_t kMost32 = std::numeric_limits<int32_t>::max();
constexpr int32_t kLeast32 = std::numeric_limits<int32_t>::min();
constexpr int64_t kMost64 = std::numeric_limits<int64_t>::max();
constexpr int64_t kLeast64 = std::numeric_limits<int64_t>::min();

class ShownScreen : public testing::Test
{
protected:
    ShownScreen()
    {
        controller->view()->show();
        EXPECT_TRUE(QTest::qWaitForWindowActive(controller->view()));
        (void)controller->takeLog();
    }

    std::shared_ptr<TestScreen> controller = std::make_shared<TestScreen>();
    QLineEdit *field = qobject_cast<QLineEdit *>(controller->view()->findChild<QWidget *>("timeField"));
};

} // namespace

TEST(NSControl, ReadsTheNumberThatATextBeginsWith)
{
    struct Row {
        const char *text;
        int32_t int32;
        int64_t int64;
        double real;
    };
    const Row rows[] = {
        {" \t+12.75 frames", 12, 12, 12.75},
        {"-3e2", -3, -3, -300},
        {"2147483648", kMost32, 2147483648, 2147483648.0},
        {"-99999999999999999999", kLeast32, kLeast64, -1e20},
        {"99999999999999999999", kMost32, kMost64, 1e20},
        {"", 0, 0, 0},
        {"+-5", 0, 0, 0},
        {"x1", 0, 0, 0},
        {"-nan", 0, 0, 0},
        {"1e999", 1, 1, 0},
        {".5", 0, 0, 0.5},
    };
    QLineEdit edit;
    const NSTextField field(&edit);
    for (const Row &row : rows) {
        field.setStringValue(row.text);
        EXPECT_EQ(field.intValue(), row.int32) << row.text;
        EXPECT_EQ(field.integerValue(), row.int64) << row.text;
        EXPECT_EQ(field.doubleValue(), row.real) << row.text;
    }
    for (const int64_t value : {kLeast64, int64_t{-1}, int64_t{0}, int64_t{1} << 53, kMost64}) {
        field.setIntegerValue(value);
        EXPECT_EQ(field.integerValue(), value);
    }
    field.setDoubleValue(0.1);
    EXPECT_EQ(edit.text(), "0.1");
}

TEST(NSControl, KeepsRealValuesOnWidgetsThatCountSteps)
{
    QProgressBar bar;
    const NSProgressIndicator progress(&bar);
    EXPECT_EQ(progress.doubleValue(), 0);
    for (const double value : {50.0, 51.5, 100.0, 0.25}) {
        progress.setDoubleValue(value);
        EXPECT_EQ(progress.doubleValue(), value);
        EXPECT_EQ(bar.value(), std::lround(value));
    }
    progress.setDoubleValue(std::nan(""));
    EXPECT_EQ(progress.doubleValue(), 0.25);
    progress.setDoubleValue(1e300);
    EXPECT_EQ(progress.integerValue(), 100);

    QSlider steps;
    steps.setRange(0, 8);
    const NSSlider slider(&steps);
    slider.setMinValue(0.5);
    slider.setMaxValue(2.5);
    slider.setDoubleValue(1.1);
    EXPECT_EQ(slider.doubleValue(), 1.1);
    EXPECT_EQ(steps.value(), 2);
    steps.setValue(6); // as the user's hand would
    EXPECT_EQ(slider.doubleValue(), 2.0);
    slider.setMaxValue(1.5);
    EXPECT_EQ(slider.doubleValue(), 1.5);
}

TEST(NSControl, ShowsTextsAsTheyStand)
{
    QPushButton button("&Play");
    EXPECT_EQ(NSButton(&button).title(), "Play");
    NSButton(&button).setTitle("Cut & Play");
    EXPECT_EQ(button.text(), "Cut && Play");
    EXPECT_EQ(NSButton(&button).title(), "Cut & Play");
    QLabel label;
    NSTextField(&label).setStringValue("<b>take</b>.wav");
    EXPECT_EQ(label.textFormat(), Qt::PlainText);
}

TEST(NSControl, HandlesOfTheWrongWidgetAreEmptyAndDoNothing)
{
    QLabel label("here");
    EXPECT_FALSE(NSButton(&label) || NSSlider(&label) || NSProgressIndicator(&label));
    const NSTextField field(std::make_unique<QLineEdit>("1").get()); // gone
    EXPECT_FALSE(field || field.enabled());
    field.setStringValue("2");
    EXPECT_EQ(field.stringValue(), "");
    EXPECT_EQ(NSSlider().maxValue(), 0);
}

TEST_F(ShownScreen, ButtonsAndCheckBoxesActForTheUserOnly)
{
    controller->loopButton.setState(NSOnState);
    EXPECT_EQ(controller->takeLog(), Log{}) << "set by the program";
    QTest::mouseClick(controller->playButton.widget(), Qt::LeftButton);
    QTest::keyClick(controller->loopButton.widget(), Qt::Key_Space);
    EXPECT_EQ(controller->takeLog(), (Log{"clickPlayButton:", "clickLoopButton:"}));
    EXPECT_EQ(controller->loopButton.state(), NSOffState);
}

TEST_F(ShownScreen, AFieldCommitsOnceForEachEdit)
{
    field->setFocus();
    QTest::keyClicks(field, "88200");
    EXPECT_EQ(controller->takeLog(), Log{}) << "while typing";
    QTest::keyClick(field, Qt::Key_Return);
    EXPECT_EQ(controller->takeLog(), Log{"changeTime: 88200"});
    controller->loopButton.widget()->setFocus();
    EXPECT_EQ(controller->takeLog(), Log{}) << "leaving after Return";

    field->setFocus();
    QTest::keyClicks(field, "1");
    controller->loopButton.widget()->setFocus();
    EXPECT_EQ(controller->takeLog(), Log{"changeTime: 882001"});
    field->setFocus();
    QTest::keyClick(field, Qt::Key_Return);
    EXPECT_EQ(controller->takeLog(), Log{"changeTime: 882001"}) << "Return commits unedited, too";

    QTest::keyClicks(field, "2");
    controller->timeField.setIntegerValue(5); // the program shows something else meanwhile
    controller->loopButton.widget()->setFocus();
    EXPECT_EQ(controller->takeLog(), Log{});

    controller->onAction = [this] { controller->loopButton.widget()->setFocus(); };
    field->setFocus();
    QTest::keyClicks(field, "7");
    QTest::keyClick(field, Qt::Key_Return);
    EXPECT_EQ(controller->takeLog().size(), 1U) << "an action that takes the focus";
}

TEST_F(ShownScreen, SlidersActWhenTheUserMovesThem)
{
    auto *slider = qobject_cast<QSlider *>(controller->rateSlider.widget());
    double seen = 0;
    controller->onAction = [&] { seen = controller->rateSlider.doubleValue(); };
    controller->rateSlider.setDoubleValue(1);
    EXPECT_EQ(controller->takeLog(), Log{});
    QTest::keyClick(slider, Qt::Key_Right);
    EXPECT_EQ(controller->takeLog(), Log{"changeRate:"});
    EXPECT_EQ(seen, 1.25) << "the new value is there when the action runs";
    QTest::keyClick(slider, Qt::Key_End);
    QTest::keyClick(slider, Qt::Key_Right);
    EXPECT_EQ(controller->takeLog(), Log{"changeRate:"}) << "at the end nothing moves";
    EXPECT_EQ(seen, 2.5);
}
