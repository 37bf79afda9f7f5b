// Controls: values as texts and numbers, and the actions that real events send.
#include "KXFW/Platform/Toolkit/NSProgressIndicator.h"
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
#include <tuple>

using kx::test::TestScreen;
using Log = std::vector<std::string>;

namespace
{

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
    QWidget *field = controller->view()->findChild<QWidget *>("timeField");
    QWidget *other = controller->view()->findChild<QWidget *>("loopButton");
};

} // namespace

TEST(NSControl, ReadsTheNumberThatATextBeginsWith)
{
    constexpr int64_t kMost64 = std::numeric_limits<int64_t>::max();
    constexpr int64_t kLeast64 = std::numeric_limits<int64_t>::min();
    const std::tuple<const char *, int32_t, int64_t, double> rows[] = {
        {" \t+12.75 frames", 12, 12, 12.75},
        {"-3e2", -3, -3, -300},
        {"2147483648", INT32_MAX, 2147483648, 2147483648.0},
        {"-99999999999999999999", INT32_MIN, kLeast64, -1e20},
        {"9223372036854775807", INT32_MAX, kMost64, 0x1p63},
        {"", 0, 0, 0},
        {"+-5", 0, 0, 0},
        {"-nan", 0, 0, 0},
        {"1e999", 1, 1, 0},
        {".5", 0, 0, 0.5},
    };
    QLineEdit edit;
    const NSTextField field(&edit);
    for (const auto &[text, int32, int64, real] : rows) {
        field.setStringValue(text);
        EXPECT_EQ(std::tuple(field.intValue(), field.integerValue(), field.doubleValue()),
                  std::tuple(int32, int64, real))
            << text;
    }
    field.setDoubleValue(0.1);
    EXPECT_EQ(edit.text(), "0.1");
}

TEST(NSControl, KeepsRealValuesOnWidgetsThatCountSteps)
{
    QProgressBar bar;
    const NSProgressIndicator progress(&bar);
    EXPECT_EQ(progress.doubleValue(), 0);
    for (const double value : {51.5, 100.0, 0.25}) {
        progress.setDoubleValue(value);
        progress.setDoubleValue(std::nan(""));
        EXPECT_EQ(progress.doubleValue(), value);
        EXPECT_EQ(bar.value(), std::lround(value));
    }
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

TEST(NSControl, ShowsTextsAsTheyStandAndNothingOnTheWrongWidget)
{
    QPushButton button("&Play");
    EXPECT_EQ(NSButton(&button).title(), "Play");
    NSButton(&button).setTitle("Cut & Play");
    EXPECT_EQ(button.text(), "Cut && Play");
    QLabel label;
    NSTextField(&label).setStringValue("<b>take</b>.wav");
    EXPECT_EQ(label.textFormat(), Qt::PlainText);
    EXPECT_FALSE(NSButton(&label) || NSSlider(&label) || NSProgressIndicator(&label));
    const NSTextField field(std::make_unique<QLineEdit>("1").get()); // gone
    field.setStringValue("2");
    EXPECT_TRUE(!field && !field.enabled() && field.stringValue().empty() && NSSlider().maxValue() == 0);
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
    const auto type = [&](const char *text) {
        field->setFocus();
        QTest::keyClicks(field, text);
        return controller->takeLog();
    };
    const auto commit = [&](bool byReturn) {
        byReturn ? QTest::keyClick(field, Qt::Key_Return) : other->setFocus();
        return controller->takeLog();
    };
    EXPECT_EQ(type("88200"), Log{}) << "while typing";
    EXPECT_EQ(commit(true), Log{"changeTime: 88200"});
    EXPECT_EQ(commit(false), Log{}) << "leaving after Return";
    type("1");
    EXPECT_EQ(commit(false), Log{"changeTime: 882001"});
    type("");
    EXPECT_EQ(commit(true), Log{"changeTime: 882001"}) << "Return commits unedited, too";
    type("2");
    controller->timeField.setIntegerValue(5); // the program shows something else meanwhile
    EXPECT_EQ(commit(false), Log{});
    type("7");
    controller->onAction = [this] { other->setFocus(); };
    EXPECT_EQ(commit(true).size(), 1U) << "an action that takes the focus";
}

TEST_F(ShownScreen, SlidersActWhenTheUserMovesThem)
{
    auto *slider = qobject_cast<QSlider *>(controller->rateSlider.widget());
    double seen = 0;
    controller->onAction = [&] { seen = controller->rateSlider.doubleValue(); };
    controller->rateSlider.setDoubleValue(1);
    EXPECT_EQ(controller->takeLog(), Log{});
    QTest::keyClick(slider, Qt::Key_Right);
    EXPECT_EQ(seen, 1.25) << "the new value is there when the action runs";
    QTest::keyClick(slider, Qt::Key_End);
    QTest::keyClick(slider, Qt::Key_Right);
    EXPECT_EQ(controller->takeLog(), (Log{"changeRate:", "changeRate:"})) << "at the end nothing moves";
    EXPECT_EQ(seen, 2.5);
}
