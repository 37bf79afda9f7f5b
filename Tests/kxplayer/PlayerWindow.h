/// @file
/// The player's window with real widgets and the real player, on a device whose clock the test turns.
#pragma once

#include "Apps/kxplayer/MainWindow.h"
#include "Tests/UI/PlayerScreenTesting.h"

#include <QSettings>
#include <QTemporaryDir>

#include <algorithm>
#include <sstream>

namespace kx::test
{

class PlayerWindow : public testing::Test, protected Hands
{
protected:
    PlayerWindow()
    {
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, settings.path());
        show();
    }

    void show()
    {
        window = std::make_unique<kxplayer::MainWindow>();
        window->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(window.get()));
    }
    [[nodiscard]] QWidget &root() const override { return *window; }
    [[nodiscard]] kxplayer::PlayerScreen &screen() const { return *window->screen(); }
    [[nodiscard]] KXAFilePlayer &player() const { return *screen().player(); }
    /// The buttons, in round brackets those that are disabled, and start, end and position as fields, timeline and
    /// player have them.
    [[nodiscard]] std::string shown() const
    {
        std::ostringstream out;
        for (const NSButton &button : {screen().openButton(), screen().playButton(), screen().exportButton()})
            out << (button.enabled() ? "[" : "(") << button.title() << (button.enabled() ? "] " : ") ");
        out << screen().fileNameField().stringValue() << "; fields";
        for (const NSTextField &field : {screen().startTimeField(), screen().endTimeField(), screen().playTimeField()})
            out << " " << field.stringValue() << (field.enabled() ? "" : "(disabled)");
        const auto &timeline = screen().timeline();
        out << "; timeline " << timeline.range().start.count() << " " << timeline.range().end.count() << " "
            << timeline.line() << " of " << timeline.length().count() << "; player " << player().startOffsetInFrame()
            << " " << player().endOffsetInFrame() << " " << player().frameOffset() << (player().loop() ? " loops" : "");
        return out.str();
    }
    [[nodiscard]] QString text(const char *name) const { return find<QWidget>(name)->property("text").toString(); }
    void open(const std::filesystem::path &file) const
    {
        window->openFile(file);
        EXPECT_TRUE(eventually([this] { return !screen().isOpening(); }));
    }
    void open(int64_t frames = kFiveSeconds) const { open(make({.frames = frames})); }
    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) const { QTest::keyClick(window.get(), key, modifiers); }
    /// Lets the device take frames until the player has nothing more to give or has given that many.
    void advance(uint32_t frames) const
    {
        for (uint64_t taken = 0; taken < frames && player().isPlaying();)
            taken += kx::VirtualHardware::instance().advance(512);
    }
    /// Waits until an alert that begins so has come. Gives how many have.
    std::ptrdiff_t told(const std::string &text) const
    {
        const auto count = [&] {
            return std::ranges::count_if(alerts.shown, [&](const auto &alert) { return alert.starts_with(text); });
        };
        EXPECT_TRUE(eventually([&] { return count() > 0; })) << text;
        return count();
    }

    QTemporaryDir settings;
    ScopedVirtualHardware hardware{kx::VirtualClock::Manual};
    AlertRecorder alerts;
    std::unique_ptr<kxplayer::MainWindow> window;
};

} // namespace kx::test
