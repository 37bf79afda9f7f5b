// The player screen with real widgets and panels and the real player, on a device whose clock the test turns.
#include "Tests/UI/PlayerScreenTesting.h"

#include "KXFW/Platform/Foundation/StringTable.h"

#include <algorithm>
#include <fstream>

namespace
{

using kx::test::make;
using kx::test::PlayerScreen;

TEST_F(PlayerScreen, OpensPlaysFollowsAndStops)
{
    EXPECT_TRUE(enabled("openButton"));
    EXPECT_FALSE(enabled("playButton") || enabled("exportButton") || bar()->enabled());
    type("playTimeField", "-99999999999"); // read as 32 bits
    EXPECT_EQ(bar()->playFrame(), INT32_MIN);
    EXPECT_TRUE(QTest::qWaitFor([&] { return bar()->playFrame() == 0; })) << "the timer shows where the player stands";
    EXPECT_EQ(text("playTimeField"), "0");

    openSamples();
    EXPECT_EQ(text("fileNameField"), make({.frames = kFrames}).filename().string());
    EXPECT_EQ(bar()->numFrames(), kFrames);
    EXPECT_EQ(bar()->endFrame(), kFrames);
    EXPECT_TRUE(bar()->enabled() && enabled("playButton") && enabled("exportButton") && enabled("openButton"));

    click("playButton");
    EXPECT_EQ(screen->playButton().title(), "Stop");
    EXPECT_TRUE(screen->player()->isPlaying());
    EXPECT_FALSE(enabled("openButton") || enabled("exportButton"));
    hardware->advance(44100);
    const int64_t frame = screen->player()->frameOffset();
    EXPECT_GE(frame, 44100);
    EXPECT_TRUE(QTest::qWaitFor([&] { return bar()->playFrame() == frame; })) << "the timer shows it";
    EXPECT_EQ(text("playTimeField"), std::to_string(frame));

    click("playButton");
    EXPECT_EQ(screen->playButton().title(), "Play");
    EXPECT_FALSE(screen->player()->isPlaying());
    auto *box = find<QWidget>("loopButton");
    for (const bool loops : {false, true}) {
        QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(8, box->height() / 2));
        EXPECT_EQ(screen->player()->loop(), loops);
    }
    EXPECT_TRUE(enabled("openButton") && enabled("exportButton") && alerts.shown.empty());
}

TEST_F(PlayerScreen, FieldsMoveThePlayerAndTheBarAndTheBarMovesBoth)
{
    openSamples();
    type("startTimeField", "88200");
    type("endTimeField", "132300");
    type("playTimeField", "99225");
    EXPECT_EQ(screen->player()->startOffsetInFrame(), 88200);
    EXPECT_EQ(bar()->startFrame(), 88200);
    EXPECT_EQ(screen->player()->endOffsetInFrame(), 132300);
    EXPECT_EQ(bar()->endFrame(), 132300);
    EXPECT_EQ(screen->player()->frameOffset(), 99225);
    EXPECT_EQ(bar()->playFrame(), 99225);
    type("endTimeField", "99999999999");
    EXPECT_EQ(bar()->endFrame(), INT32_MAX);
    EXPECT_EQ(screen->player()->endOffsetInFrame(), INT32_MAX);

    openSamples();
    dragKnob(*bar()->startFrameLayer(), 100);
    dragKnob(*bar()->endFrameLayer(), -100);
    EXPECT_NEAR(double(bar()->startFrame()), 34000, 2000);
    EXPECT_EQ(screen->player()->startOffsetInFrame(), bar()->startFrame());
    EXPECT_EQ(screen->player()->endOffsetInFrame(), bar()->endFrame());
    EXPECT_EQ(text("startTimeField"), std::to_string(bar()->startFrame()));
    EXPECT_EQ(text("endTimeField"), std::to_string(bar()->endFrame()));
    const double y = bar()->bounds().size.height / 2;
    mouse(QTest::MousePress, 200, y);
    mouse(QTest::MouseMove, 300, y);
    mouse(QTest::MouseRelease, 300, y);
    EXPECT_GT(bar()->playFrame(), bar()->startFrame());
    EXPECT_EQ(screen->player()->frameOffset(), bar()->playFrame());
    EXPECT_EQ(text("playTimeField"), std::to_string(bar()->playFrame()));
}

TEST_F(PlayerScreen, BrokenFileAlertsAndLeavesNone)
{
    openSamples();
    const auto broken = make({.frames = 8}).parent_path() / "broken.wav";
    std::ofstream(broken) << "no sound";
    open(broken);
    EXPECT_TRUE(QTest::qWaitFor([&] { return !alerts.shown.empty(); }));
    ASSERT_EQ(alerts.shown.size(), 1U);
    EXPECT_EQ(alerts.shown[0].messageText(), "Failed to read a file.");
    EXPECT_EQ(alerts.shown[0].informativeText(), "Check whether the file is not broken");
    EXPECT_EQ(text("fileNameField"), "broken.wav");
    EXPECT_EQ(screen->player()->audioData(), nullptr);
    EXPECT_EQ(bar()->numFrames(), kFrames) << "nothing else changes";
    EXPECT_TRUE(enabled("playButton"));
    click("playButton");
    EXPECT_FALSE(enabled("playButton") || enabled("exportButton"));
    openSamples(44100);
    EXPECT_EQ(bar()->numFrames(), 44100);
}

TEST_F(PlayerScreen, PanelMayShowFoldersAndWhatCanBePlayed)
{
    const auto asked = NSSavePanel::savePanel();
    EXPECT_TRUE(screen->panel(*asked, "/nowhere/take.wav") && screen->panel(*asked, "/tmp"));
    for (const char *file : {"/nowhere/take.WAV", "/nowhere/notes.txt", "/nowhere"})
        EXPECT_FALSE(screen->panel(*asked, file)) << file;
}

TEST(PlayerScreenCaptions, ComeFromTheFrameworksTexts)
{
    kx::StringTable::Texts texts;
    for (const char *key : {"Open",
                            "File",
                            "No file",
                            "Export",
                            "Play",
                            "Loop",
                            "Position",
                            "Position, in frames",
                            "Start",
                            "Start, in frames",
                            "End",
                            "End, in frames",
                            "Rate",
                            "Pitch",
                            "Cancel",
                            "Exporting the range",
                            "Progress of the export",
                            "Play position",
                            "Loop start",
                            "Loop end"})
        texts[key] = "#" + std::string(key);
    kx::StringTable::framework().setTexts("xx", texts);
    kx::StringTable::setPreferredLanguages({"xx"});
    const auto screen = std::make_shared<KXAFilePlayerViewController>();
    int captions = 0;
    for (QWidget *window : {screen->view(), screen->exportProgressSheet().widget()}) {
        auto widgets = window->findChildren<QWidget *>();
        widgets << window;
        for (QWidget *widget : std::as_const(widgets))
            for (const char *name : {"text", "placeholderText", "accessibleName", "windowTitle"}) {
                const QString caption = widget->property(name).toString();
                if (!std::ranges::any_of(caption, [](QChar c) { return c.isLetter(); }))
                    continue;
                ++captions;
                EXPECT_TRUE(caption.startsWith('#')) << name << " " << caption.toStdString();
            }
    }
    EXPECT_GT(captions, 20);
    kx::StringTable::setPreferredLanguages(kx::StringTable::languagesOfEnvironment());
    kx::StringTable::framework().setTexts("xx", {});
}

} // namespace
