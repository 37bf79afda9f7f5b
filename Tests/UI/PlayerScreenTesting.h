#pragma once

#include "KXFW/UI/KXAFilePlayerViewController.h"
#include "Tests/Support/Media.h"
#include "Tests/Support/ScopedVirtualHardware.h"
#include "Tests/Toolkit/ToolkitTesting.h"

#include <QApplication>
#include <QFileDialog>

#include <gtest/gtest.h>

#include <sstream>

namespace kx::test
{

inline constexpr int64_t kFiveSeconds = 220500;

/// The buttons, in round brackets those that are disabled, and start, end and position as fields, bar and player have
/// them.
inline std::string shownOn(const KXAFilePlayerViewController &screen)
{
    std::ostringstream text;
    for (const NSButton &button : {screen.openButton(), screen.playButton(), screen.exportButton()})
        text << (button.enabled() ? "[" : "(") << button.title() << (button.enabled() ? "] " : ") ");
    text << screen.fileNameField().stringValue() << "; fields ";
    for (const NSTextField &field : {screen.startTimeField(), screen.endTimeField(), screen.playTimeField()})
        text << field.stringValue() << (field.enabled() ? " " : "(disabled) ");
    const auto bar = screen.playPositionView();
    text << "of " << bar->numFrames() << (bar->enabled() ? "; bar " : "; disabled bar ") << bar->startFrame() << " "
         << bar->endFrame() << " " << bar->playFrame();
    const auto player = screen.player();
    text << "; player " << player->startOffsetInFrame() << " " << player->endOffsetInFrame() << " "
         << player->frameOffset() << (player->isPlaying() ? " plays" : "") << (player->loop() ? " loops" : "");
    return text.str();
}

/// The screen in its window, and the user's hands.
class PlayerScreen : public testing::Test, protected Hands
{
protected:
    PlayerScreen()
    {
        screen->view()->resize(700, 240);
        screen->view()->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(screen->view()));
    }

    [[nodiscard]] QWidget &root() const override { return *screen->view(); }
    std::string shown() const { return shownOn(*screen); }

    /// The panel that is open now.
    static QDialog *panel()
    {
        for (QWidget *window : QApplication::topLevelWidgets())
            if (auto *dialog = qobject_cast<QFileDialog *>(window); dialog && dialog->isVisible())
                return dialog;
        throw std::runtime_error("no panel");
    }
    /// Clicks the button and chooses the file.
    void choose(const char *button, const std::filesystem::path &path) const
    {
        click(button);
        QDialog *open = panel();
        static_cast<QFileDialog *>(open)->selectFile(QString::fromStdString(path.string()));
        open->accept();
        QTest::qWait(0);
    }
    void openSamples(int64_t frames = kFiveSeconds) const { choose("openButton", make({.frames = frames})); }

    ScopedVirtualHardware hardware{kx::VirtualClock::Manual};
    AlertRecorder alerts;
    std::shared_ptr<KXAFilePlayerViewController> screen = std::make_shared<KXAFilePlayerViewController>();
};

} // namespace kx::test
