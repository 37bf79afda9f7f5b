// The player's window while it exports, and closed in whatever state.
#include "Apps/kxplayer/Timeline/TimelineView.h"
#include "Tests/Support/FailingDisk.h"
#include "Tests/kxplayer/PlayerWindow.h"

#include <QMenuBar>

namespace
{

using kx::test::FailingDisk;
using kx::test::make;
using kx::test::temporaryPath;

struct BusyWindow : kx::test::PlayerWindow {
    BusyWindow() { open(60 * 44100); }

    [[nodiscard]] bool sheetIsUp() const { return screen().exportProgressSheet().widget()->isVisible(); }
    /// An export that waits for this thread to show its first progress.
    void beginExport() const
    {
        screen()._exportToURL(target);
        EXPECT_TRUE(eventually([this] { return sheetIsUp(); }));
    }

    const std::filesystem::path target = temporaryPath("target.aiff");
};

TEST_F(BusyWindow, NothingDisturbsAnExport)
{
    kxplayer::MediaControl media{screen(), *window, [this](const auto &file) { window->openFile(file); },
                                 QDBusConnection("none")};
    screen().moveTo(44100);
    const std::string before = shown();
    beginExport();
    for (const bool cancelled : {false, true}) { // then it still ends its slice
        screen().setContinuesExporting(!cancelled);
        media.play();
        media.setRate(2);
        media.setLoop(false);
        media.setPositionInFrame(100000);
        media.setGain(0.5);
        media.openFile(make({.frames = 3000}));
        EXPECT_TRUE(sheetIsUp() && screen().pitch()->rate() == 1 && screen().loops());
        EXPECT_EQ(screen().shownFrame(), 44100);
    }
    EXPECT_TRUE(eventually([this] { return !sheetIsUp() && player().frameOffset() == 44100; }));
    EXPECT_EQ(shown(), before) << "as it was";
    EXPECT_EQ(told("A file cannot be opened while an export is running."), 2);
    EXPECT_EQ(alerts.shown.size(), 2U);
}

TEST_F(BusyWindow, SaysWhatABadDiskDoesAndGoesOn)
{
    {
        const FailingDisk disk(44 + 4 * 44100);
        screen().setPlaying(true);
        EXPECT_TRUE(eventually([this] {
            advance(44100);
            return !alerts.shown.empty();
        }));
        EXPECT_EQ(told("The file could not be read to its end."), 1);
    }
    open(60 * 44100); // of which nothing is known yet
    const FailingDisk disk(44 + 4 * 44100);
    emit find<kxplayer::TimelineView>("")->linePicked(40 * 44100);
    EXPECT_EQ(told("The action failed."), 1);
    screen()._exportToURL(target);
    EXPECT_EQ(told("Failed to export to a file."), 1);
    EXPECT_TRUE(eventually([this] { return !sheetIsUp() && !screen().isExporting(); }));
    EXPECT_TRUE(!std::filesystem::exists(target) && screen().isLoaded());
    for (const std::string &alert : alerts.shown)
        EXPECT_EQ(alert.find("-["), std::string::npos) << alert;
}

TEST_F(BusyWindow, LeavesAFileThatCannotBeReadAnyMore)
{
    const auto other = make({.frames = 3000}); // already there: until it opens no tick is to meet the failure first
    screen().moveTo(10 * 44100);
    screen().setPlaying(true);
    advance(3 * 44100);
    for (int tick = 0; tick < 3; ++tick)
        player()._timerFired(nullptr); // what is heard is far from the last seek and from what is read next: not kept
    const FailingDisk disk(44 + 4 * 44100);
    open(other);
    EXPECT_EQ(screen().numFrames(), 3000);
    EXPECT_FALSE(screen().isPlaying());
    QCoreApplication::processEvents();
    EXPECT_TRUE(std::ranges::none_of(alerts.shown, [](const auto &alert) { return alert.starts_with("The action"); }));
}

TEST_F(BusyWindow, ClosesInTheMiddleOfAnything)
{
    const std::pair<const char *, std::function<void()>> states[] = {
        {"playing", [&] { key(Qt::Key_Space); }},
        {"open panel", [&] { screen().clickOpenButton({}); }},
        {"save panel", [&] { screen().clickExportButton({}); }},
        {"about to export", [&] { screen()._exportToURL(target); }},
        {"exporting", [&] { beginExport(); }},
        {"opening", [&] { window->openFile(make({.frames = 3000})); }},
        {"message", [&] { window->openArgument("http://example.org"); }},
        {"menu", [&] { window->menuBar()->actions().first()->menu()->popup({}); }},
    };
    for (const auto &[name, enter] : states) {
        enter();
        window->close();
        EXPECT_FALSE(window->isVisible() || screen().isPlaying()) << name;
        show();
        open(60 * 44100);
    }
    EXPECT_TRUE(eventually([&] { return std::filesystem::exists(target); })) << "a valid shorter file";
    EXPECT_EQ(alerts.shown.size(), 1U) << "the message";
}

} // namespace
