// The player screen with real widgets and panels and the real player, on a device whose clock the test turns.
#include "KXFW/Platform/Foundation/StringTable.h"
#include "KXFW/UI/KXAFilePlayerViewController.h"
#include "Tests/Support/Media.h"
#include "Tests/Support/ScopedVirtualHardware.h"
#include "Tests/Toolkit/ToolkitTesting.h"

#include <QApplication>
#include <QFileDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QTest>

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

using kx::test::AlertRecorder;
using kx::test::make;

namespace
{

[[maybe_unused]] const int chosen = setenv("KXFW_AUDIO_BACKEND", "virtual", 1);

constexpr int64_t kFrames = 220500; // five seconds

/// The screen in its window, and the user's hands.
class PlayerScreen : public testing::Test
{
protected:
    PlayerScreen()
    {
        screen->view()->resize(700, 240);
        screen->view()->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(screen->view()));
    }

    template <class Widget> Widget *find(const char *name) const
    {
        auto *found = screen->view()->findChild<Widget *>(name);
        EXPECT_NE(found, nullptr) << name;
        return found;
    }
    void click(const char *name) { QTest::mouseClick(find<QPushButton>(name), Qt::LeftButton); }
    void type(const char *name, const QString &text)
    {
        auto *field = find<QLineEdit>(name);
        field->selectAll();
        QTest::keyClicks(field, text);
        QTest::keyClick(field, Qt::Key_Return);
    }
    std::string text(const char *name) const { return find<QLineEdit>(name)->text().toStdString(); }

    /// The panel that is open now.
    static QFileDialog *panel()
    {
        QFileDialog *open = nullptr;
        const bool came = QTest::qWaitFor([&] {
            for (QWidget *window : QApplication::topLevelWidgets())
                if (auto *dialog = qobject_cast<QFileDialog *>(window); dialog && dialog->isVisible())
                    open = dialog;
            return open != nullptr;
        });
        EXPECT_TRUE(came) << "no panel";
        return open;
    }
    /// Chooses the file, and says yes where the panel asks whether to replace it.
    static void answer(const std::filesystem::path &path)
    {
        QFileDialog *open = panel();
        ASSERT_NE(open, nullptr);
        open->selectFile(QString::fromStdString(path.string()));
        static_cast<QDialog *>(open)->accept();
        if (const auto *question = open->findChild<QMessageBox *>())
            for (QAbstractButton *button : question->buttons())
                if (question->buttonRole(button) == QMessageBox::DestructiveRole)
                    button->click();
        QTest::qWait(0);
    }
    void open(const std::filesystem::path &path)
    {
        click("openButton");
        answer(path);
    }
    void openSamples(int64_t frames = kFrames)
    {
        open(make({.frames = frames}));
        ASSERT_NE(screen->player()->audioData(), nullptr);
    }

    [[nodiscard]] bool enabled(const char *name) const { return find<QWidget>(name)->isEnabled(); }
    std::shared_ptr<KXPlayPositionView> bar() const { return screen->playPositionView(); }

    kx::test::ScopedVirtualHardware hardware{kx::VirtualClock::Manual};
    AlertRecorder alerts;
    std::shared_ptr<KXAFilePlayerViewController> screen = std::make_shared<KXAFilePlayerViewController>();
};

TEST_F(PlayerScreen, BeginsWithoutAFile)
{
    EXPECT_TRUE(enabled("openButton"));
    EXPECT_FALSE(enabled("playButton"));
    EXPECT_FALSE(enabled("exportButton"));
    EXPECT_FALSE(bar()->enabled());
    EXPECT_EQ(screen->loopButton().state(), NSOnState);
    EXPECT_TRUE(screen->player()->loop());
    EXPECT_EQ(screen->stateChangeQueue()->label(), "KXAFilePlayerViewController.stateChangeQueue");
    EXPECT_EQ(screen->_allowedExtensions(), (std::vector<std::string>{"aiff", "wav", "mp3", "m4a"}));
}

TEST_F(PlayerScreen, OpensPlaysFollowsAndStops)
{
    openSamples();
    EXPECT_EQ(text("fileNameField"), make({.frames = kFrames}).filename().string());
    EXPECT_EQ(bar()->numFrames(), kFrames);
    EXPECT_EQ(bar()->endFrame(), kFrames);
    EXPECT_TRUE(bar()->enabled());
    EXPECT_TRUE(enabled("playButton") && enabled("exportButton") && enabled("openButton"));

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
    EXPECT_TRUE(enabled("openButton") && enabled("exportButton"));
}

TEST_F(PlayerScreen, FieldsAndBarMoveThePlayer)
{
    openSamples();
    type("startTimeField", "44100");
    EXPECT_EQ(screen->player()->startOffsetInFrame(), 44100);
    EXPECT_EQ(bar()->startFrame(), 44100);
    type("endTimeField", "132300");
    EXPECT_EQ(screen->player()->endOffsetInFrame(), 132300);
    EXPECT_EQ(bar()->endFrame(), 132300);
    type("playTimeField", "88200");
    EXPECT_EQ(screen->player()->frameOffset(), 88200);
    EXPECT_EQ(bar()->playFrame(), 88200);
    type("playTimeField", "99999999999"); // read as 32 bits
    EXPECT_EQ(bar()->playFrame(), INT32_MAX);

    screen->PlayPositionViewDidChangePlayFrame(50000);
    screen->PlayPositionViewDidChangeStartFrame(40000);
    screen->PlayPositionViewDidChangeEndFrame(90000);
    EXPECT_EQ(screen->player()->frameOffset(), 50000);
    EXPECT_EQ(screen->player()->startOffsetInFrame(), 40000);
    EXPECT_EQ(screen->player()->endOffsetInFrame(), 90000);
    EXPECT_EQ(text("playTimeField") + text("startTimeField") + text("endTimeField"), "500004000090000");

    // The interface file makes the screen the bar's delegate.
    QWidget *widget = find<QWidget>("playPositionView");
    QTest::mousePress(widget, Qt::LeftButton, {}, widget->rect().center() - QPoint(widget->width() / 5, 0));
    EXPECT_EQ(screen->player()->frameOffset(), bar()->playFrame());
    EXPECT_EQ(text("playTimeField"), std::to_string(bar()->playFrame()));
    EXPECT_TRUE(bar()->isDragging());
    QTest::mouseRelease(widget, Qt::LeftButton, {}, widget->rect().center());

    QTest::mouseClick(find<QWidget>("loopButton"), Qt::LeftButton, {},
                      QPoint(8, find<QWidget>("loopButton")->height() / 2));
    EXPECT_FALSE(screen->player()->loop());
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
    openSamples(44100);
    EXPECT_EQ(bar()->numFrames(), 44100);
}

TEST_F(PlayerScreen, PanelAnswersWhatItMayShow)
{
    const auto folder = make({.frames = 8}).parent_path();
    const auto asked = NSSavePanel::savePanel();
    EXPECT_TRUE(screen->panel(*asked, "/nowhere/take.wav"));
    EXPECT_TRUE(screen->panel(*asked, folder));
    EXPECT_FALSE(screen->panel(*asked, "/nowhere/take.WAV"));
    EXPECT_FALSE(screen->panel(*asked, "/nowhere/notes.txt"));
    EXPECT_FALSE(screen->panel(*asked, "/nowhere"));

    click("openButton");
    static_cast<QDialog *>(panel())->reject();
    EXPECT_EQ(text("fileNameField"), "");
}

class ExportFromScreen : public PlayerScreen
{
protected:
    ExportFromScreen() { std::filesystem::remove(target); }

    QWidget *sheet() const { return screen->exportProgressSheet().widget(); }
    bool waitForEnd() const
    {
        return QTest::qWaitFor([this] { return !screen->continuesExporting(); }, 60000);
    }
    void exportTo(const std::filesystem::path &path)
    {
        click("exportButton");
        answer(path);
        ASSERT_TRUE(QTest::qWaitFor([this] { return screen->continuesExporting() && sheet()->isVisible(); }));
    }

    std::filesystem::path target = make({.frames = 8}).parent_path() / "export.aiff";
};

TEST_F(ExportFromScreen, WritesTheRangeWithProgress)
{
    constexpr int64_t frames = 20 * 44100;
    openSamples(frames);
    type("startTimeField", "44100");
    exportTo(target);
    EXPECT_TRUE(waitForEnd());
    EXPECT_FALSE(sheet()->isVisible());
    EXPECT_GT(screen->exportProgressIndicator().doubleValue(), 50);
    EXPECT_NEAR(double(std::filesystem::file_size(target)), double(frames - 44100) * 4, 512 * 4 + 100);
    EXPECT_TRUE(alerts.shown.empty());
}

TEST_F(ExportFromScreen, CancelsLeavesAShorterFileAndExportsAgain)
{
    openSamples(60 * 44100);
    exportTo(target);
    QTest::mouseClick(sheet()->findChild<QPushButton *>("cancelExportButton"), Qt::LeftButton);
    EXPECT_FALSE(screen->continuesExporting());
    EXPECT_TRUE(QTest::qWaitFor([this] { return !sheet()->isVisible(); }, 60000));
    const auto shorter = std::filesystem::file_size(target);
    EXPECT_LT(shorter, 60 * 44100 * 4U);

    click("exportButton");
    static_cast<QDialog *>(panel())->reject(); // the save panel
    EXPECT_FALSE(screen->continuesExporting());
    EXPECT_EQ(std::filesystem::file_size(target), shorter);

    exportTo(target);
    EXPECT_TRUE(waitForEnd());
    EXPECT_GT(std::filesystem::file_size(target), 60 * 44100 * 4U - 4096);
}

TEST_F(ExportFromScreen, FailureClosesTheSheetAndSaysWhy)
{
    openSamples();
    screen->_exportToURL("/nowhere/at/all.aiff");
    EXPECT_TRUE(QTest::qWaitFor([&] { return !alerts.shown.empty(); }));
    EXPECT_FALSE(sheet()->isVisible());
    EXPECT_FALSE(screen->continuesExporting());
    ASSERT_EQ(alerts.shown.size(), 1U);
    EXPECT_NE(alerts.shown[0].informativeText().find("/nowhere/at/all.aiff"), std::string::npos)
        << alerts.shown[0].informativeText();
}

TEST_F(ExportFromScreen, GoesAtAnyTimeWithoutHarm)
{
    openSamples(60 * 44100);
    click("playButton");
    hardware->advance(512);
    screen.reset(); // while it plays

    screen = std::make_shared<KXAFilePlayerViewController>();
    screen->view()->show();
    openSamples(60 * 44100);
    exportTo(target);
    const std::weak_ptr<KXAFilePlayer> player = screen->player();
    screen.reset(); // while it exports
    EXPECT_TRUE(QTest::qWaitFor([&] { return player.expired(); }, 60000)) << "the export ends and lets the player go";
    EXPECT_LT(std::filesystem::file_size(target), 60 * 44100 * 4U) << "a shorter file";

    screen = std::make_shared<KXAFilePlayerViewController>();
    screen->view()->show();
    click("openButton");
    QFileDialog *open = panel();
    screen.reset(); // while a panel is open
    QTest::qWait(0);
    EXPECT_FALSE(QApplication::topLevelWidgets().contains(open) && open->isVisible());

    screen = std::make_shared<KXAFilePlayerViewController>();
    delete screen->view(); // the widgets go first
    screen->_timerFired(nullptr);
    screen->_updateUI();
    screen->clickPlayButton({});
}

} // namespace
