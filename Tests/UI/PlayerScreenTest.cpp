// The player screen with real widgets and panels and the real player, on a device whose clock the test turns.
#include "Tests/UI/PlayerScreenTesting.h"

#include "KXFW/Platform/Foundation/StringTable.h"
#include "KXFW/Platform/Toolkit/SliderElement.h"
#include "KXFW/UI/KXNibLoadedViewController.h"

#include <algorithm>

namespace
{

using kx::test::PlayerScreen;

TEST_F(PlayerScreen, OpensPlaysFollowsAndStops)
{
    EXPECT_EQ(shown(), "[Open] (Play) (Export) ; fields 0 0 0 of 44100; disabled bar 0 44100 0; player 0 0 0 loops");
    type("playTimeField", "-99999999999"); // read as 32 bits
    EXPECT_EQ(screen->playPositionView()->playFrame(), INT32_MIN);
    EXPECT_TRUE(eventually([&] { return screen->playPositionView()->playFrame() == 0; })) << "the timer shows it";

    openSamples();
    const std::string name = kx::test::make({.frames = kx::test::kFiveSeconds}).filename().string();
    EXPECT_EQ(shown(),
              "[Open] [Play] [Export] " + name + "; fields 0 0 0 of 220500; bar 0 220500 0; player 0 220500 0 loops");
    click("playButton");
    hardware->advance(44100);
    EXPECT_GE(screen->player()->frameOffset(), 44100);
    const std::string frame = std::to_string(screen->player()->frameOffset());
    EXPECT_TRUE(eventually([&] { return screen->playTimeField().stringValue() == frame; })) << "the timer shows it";
    EXPECT_EQ(shown(), "(Open) [Stop] (Export) " + name + "; fields 0 0 " + frame + " of 220500; bar 0 220500 " +
                           frame + "; player 0 220500 " + frame + " plays loops");
    click("playButton");
    auto *box = find<QWidget>("loopButton");
    QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(8, box->height() / 2));
    EXPECT_EQ(shown(), "[Open] [Play] [Export] " + name + "; fields 0 0 " + frame + " of 220500; bar 0 220500 " +
                           frame + "; player 0 220500 " + frame);
    EXPECT_TRUE(alerts.shown.empty());
}

TEST_F(PlayerScreen, FieldsMoveThePlayerAndTheBarAndTheBarMovesBoth)
{
    const auto bar = screen->playPositionView();
    openSamples();
    type("startTimeField", "88200");
    type("endTimeField", "99999999999");
    type("playTimeField", "99225");
    const std::string file = "[Open] [Play] [Export] " + screen->fileNameField().stringValue();
    EXPECT_EQ(shown(), file + "; fields 88200 99999999999 99225 of 220500; bar 88200 2147483647 99225; player 88200 "
                              "2147483647 99225 loops");

    openSamples();
    bar->sliderElements()[0]->move(66150);
    bar->sliderElements()[1]->move(33075);
    bar->sliderElements()[2]->move(198450);
    EXPECT_EQ(shown(),
              file + "; fields 33075 198450 66150 of 220500; bar 33075 198450 66150; player 33075 198450 66150 loops");
}

TEST_F(PlayerScreen, BrokenFileAlertsAndLeavesNone)
{
    openSamples();
    const auto broken = kx::test::fileOf("broken.wav", {'n', 'o'});
    choose("openButton", broken);
    EXPECT_TRUE(eventually([&] { return !alerts.shown.empty(); }));
    EXPECT_EQ(alerts.shown, std::vector<std::string>{"Failed to read a file.: Check whether the file is not broken"});
    click("playButton");
    EXPECT_EQ(shown(), "[Open] (Play) (Export) " + broken.filename().string() +
                           "; fields 0 0 0 of 220500; bar 0 220500 0; player 0 0 0 loops");
    openSamples(44100);
    EXPECT_EQ(screen->playPositionView()->numFrames(), 44100);
}

TEST_F(PlayerScreen, PanelMayShowFoldersAndWhatCanBePlayed)
{
    const auto asked = NSSavePanel::savePanel();
    for (const char *file : {"/nowhere/take.wav", "/tmp", "/nowhere/take.WAV", "/nowhere/notes.txt", "/nowhere"})
        EXPECT_EQ(screen->panel(*asked, file), file == std::string("/tmp") || std::string(file).ends_with(".wav"));
}

/// The texts of the screen and its sheet that hold letters.
std::vector<std::string> captions()
{
    const auto screen = std::make_shared<KXAFilePlayerViewController>();
    std::vector<std::string> found;
    QWidget *view = screen->view();
    QWidget *sheet = screen->exportProgressSheet().widget();
    const auto widgets =
        view->findChildren<QWidget *>() + sheet->findChildren<QWidget *>() + QList<QWidget *>{view, sheet};
    for (const QWidget *widget : widgets)
        for (const char *name : {"text", "placeholderText", "accessibleName", "windowTitle"}) {
            const QString caption = widget->property(name).toString();
            if (std::ranges::any_of(caption, [](QChar c) { return c.isLetter(); }))
                found.push_back(caption.toStdString());
        }
    return found;
}

TEST(PlayerScreenCaptions, ComeFromTheFrameworksTexts)
{
    auto expected = captions();
    kx::StringTable::Texts texts;
    for (std::string &caption : expected)
        caption = texts[caption] = "#" + caption;
    kx::StringTable::framework().setTexts("xx", texts);
    kx::StringTable::setPreferredLanguages({"xx"});
    EXPECT_EQ(captions(), expected);
    EXPECT_GT(expected.size(), 20U);
    kx::StringTable::setPreferredLanguages(kx::StringTable::languagesOfEnvironment());
    kx::StringTable::framework().setTexts("xx", {});
}

struct NibLoadedScreen : KXNibLoadedViewController {
    using KXNibLoadedViewController::KXNibLoadedViewController;
    static std::optional<std::string> nibName() { return "NibLoadedScreen"; }
};

TEST(KXNibLoadedViewController, MakesTheReceivingClassWithItsFileAndBundle)
{
    const std::shared_ptr<NibLoadedScreen> screen = KXNibLoadedViewController::viewController<NibLoadedScreen>();
    EXPECT_EQ(screen->view()->objectName(), "NibLoadedScreen");
    EXPECT_EQ(screen->nibBundle().name(), "test_UI");
    EXPECT_EQ(KXNibLoadedViewController::viewController()->nibName(), std::nullopt) << "left to the platform";
}

} // namespace
