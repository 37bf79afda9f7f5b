// The player's window while it exports, and closed in whatever state.
#include "Apps/kxplayer/WaveformWidget.h"
#include "Tests/Support/FailingDisk.h"
#include "Tests/kxplayer/PlayerWindow.h"

#include <QApplication>
#include <QMenuBar>

namespace
{

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
    kxplayer::MediaControl media{screen(), *window, [this](const auto &file) { window->openFile(file); },
                                 QDBusConnection("none")};
};

TEST_F(BusyWindow, NothingDisturbsAnExport)
{
    const auto file = screen().file();
    screen().moveTo(44100);
    beginExport();
    for (const bool cancelled : {false, true}) { // then it still ends its slice
        screen().setContinuesExporting(!cancelled);
        media.play();
        media.setRate(2);
        media.setLoop(false);
        media.setPositionInFrame(100000);
        media.setGain(0.5);
        media.openFile(make({.frames = 3000}));
        EXPECT_TRUE(sheetIsUp());
        EXPECT_FALSE(screen().isPlaying());
        EXPECT_EQ(screen().pitch()->rate(), 1.0F);
        EXPECT_EQ(screen().file(), file);
        EXPECT_TRUE(screen().loops());
    }
    EXPECT_TRUE(eventually([this] { return !sheetIsUp(); }));
    EXPECT_TRUE(player().loop());
    EXPECT_TRUE(eventually([this] { return player().frameOffset() == 44100; })) << "where it was before";
    EXPECT_EQ(screen().shownFrame(), 44100);
    EXPECT_EQ(std::ranges::count(alerts, "A file cannot be opened while an export is running."), 2);
    EXPECT_EQ(alerts.size(), 2U);
    media.openFile(make({.frames = 3000}));
    EXPECT_TRUE(eventually([this] { return screen().numFrames() == 3000; }));
}

TEST_F(BusyWindow, SaysWhatABadDiskDoesAndGoesOn)
{
    const auto told = [this](const std::string &text) {
        return eventually([&] {
            if (player().isPlaying())
                advance(44100);
            return std::ranges::count(alerts, text) > 0;
        });
    };
    {
        const kx::test::FailingDisk disk(44 + 4 * 44100);
        screen().setPlaying(true);
        EXPECT_TRUE(told("The file could not be read to its end."));
    }
    open(60 * 44100); // of which nothing is known yet
    const kx::test::FailingDisk disk(44 + 4 * 44100);
    emit find<kxplayer::WaveformWidget>("")->pointed(40 * 44100);
    EXPECT_TRUE(told("The action failed."));
    screen()._exportToURL(target);
    EXPECT_TRUE(told("Failed to export to a file."));
    EXPECT_TRUE(eventually([this] { return !sheetIsUp() && !screen().isExporting(); }));
    QCoreApplication::processEvents();
    EXPECT_FALSE(std::filesystem::exists(target));
    EXPECT_TRUE(screen().isLoaded());
    EXPECT_EQ(alertDetails.find("-["), std::string::npos) << alertDetails;
}

TEST_F(BusyWindow, LeavesAFileThatCannotBeReadAnyMore)
{
    const auto other = make({.frames = 3000}); // already there: until it opens no tick is to meet the failure first
    screen().moveTo(10 * 44100);
    screen().setPlaying(true);
    advance(3 * 44100);
    for (int tick = 0; tick < 3; ++tick)
        player()._timerFired(nullptr); // what is heard is far from the last seek and from what is read next: not kept
    const kx::test::FailingDisk disk(44 + 4 * 44100);
    open(other);
    EXPECT_EQ(screen().numFrames(), 3000);
    EXPECT_FALSE(screen().isPlaying());
    QCoreApplication::processEvents();
    EXPECT_EQ(std::ranges::count(alerts, "The action failed."), 0);
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
        window = std::make_unique<kxplayer::MainWindow>();
        window->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(window.get()));
        open(60 * 44100);
    }
    EXPECT_TRUE(eventually([&] { return std::filesystem::exists(target); })) << "a valid shorter file";
    EXPECT_EQ(alerts.size(), 1U) << "the message";
}

} // namespace
