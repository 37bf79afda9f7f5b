/// @file
/// The player's window with real widgets and the real player, on a device whose clock the test turns.
#pragma once

#include "Apps/kxplayer/MainWindow.h"
#include "Tests/Support/Media.h"
#include "Tests/Support/ScopedVirtualHardware.h"

#include <QLineEdit>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace kx::test
{

inline constexpr int64_t kFiveSeconds = 220500;

class PlayerWindow : public testing::Test
{
protected:
    PlayerWindow()
    {
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, settings.path());
        window = std::make_unique<kxplayer::MainWindow>();
        window->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(window.get()));
        NSAlert::setPresenter([this](const NSAlert &alert) {
            alerts.push_back(alert.messageText());
            alertDetails += alert.informativeText();
        });
    }
    ~PlayerWindow() override { NSAlert::setPresenter({}); }

    [[nodiscard]] kxplayer::PlayerScreen &screen() const { return *window->screen(); }
    [[nodiscard]] KXAFilePlayer &player() const { return *screen().player(); }
    void open(const std::filesystem::path &file) const
    {
        window->openFile(file);
        EXPECT_TRUE(eventually([this] { return !screen().isOpening(); }));
    }
    void open(int64_t frames = kFiveSeconds) const { open(make({.frames = frames})); }
    template <class Widget> Widget *find(const char *name) const { return window->findChild<Widget *>(name); }
    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) const { QTest::keyClick(window.get(), key, modifiers); }
    void type(const char *name, const QString &text) const
    {
        find<QLineEdit>(name)->selectAll();
        QTest::keyClicks(find<QLineEdit>(name), text);
        QTest::keyClick(find<QLineEdit>(name), Qt::Key_Return);
    }
    /// Lets the device take frames until the player has nothing more to give or has given that many.
    void advance(uint32_t frames) const
    {
        for (uint64_t taken = 0; taken < frames && player().isPlaying();)
            taken += kx::VirtualHardware::instance().advance(512);
    }
    static bool eventually(const std::function<bool()> &reached) { return QTest::qWaitFor(reached, 30000); }

    QTemporaryDir settings;
    kx::test::ScopedVirtualHardware hardware{kx::VirtualClock::Manual};
    std::vector<std::string> alerts;
    std::string alertDetails; ///< of all alerts
    std::unique_ptr<kxplayer::MainWindow> window;
};

} // namespace kx::test
