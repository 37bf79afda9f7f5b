#include "Apps/kxplayer/OutputDeviceMenu.h"
#include "Tests/Support/ScopedVirtualHardware.h"

#include <gtest/gtest.h>

#include <QTest>

#include <thread>

using namespace kx::test;
using kxplayer::OutputDeviceMenu;

namespace
{

QStringList textsOf(const QMenu &menu)
{
    QStringList texts;
    for (const QAction *action : menu.actions())
        if (!action->isSeparator())
            texts << (action->isChecked() ? "*" : "") + action->text();
    return texts;
}

void click(const QMenu &menu, const QString &start)
{
    for (QAction *action : menu.actions())
        if (action->text().startsWith(start))
            return action->trigger();
    FAIL() << start.toStdString() << " is not in the menu";
}

void expectTexts(const QMenu &menu, const QStringList &texts)
{
    EXPECT_TRUE(QTest::qWaitFor([&] { return textsOf(menu) == texts; }, 30000))
        << textsOf(menu).join(" | ").toStdString();
}

TEST(OutputDeviceMenu, FollowsTheDevicesThatComeAndGo)
{
    const ScopedVirtualHardware system(kx::VirtualClock::Manual,
                                       {{"Speaker"}, {"Mic", 48000, 1, 16, true, false}, {"A & B"}});
    OutputDeviceMenu menu;
    std::vector<AudioObjectID> chosen;
    QObject::connect(&menu, &OutputDeviceMenu::deviceChosen, [&](AudioObjectID device) { chosen.push_back(device); });
    const QString heard = " (virtual, not heard)";
    expectTexts(menu, {"*Default Device (Speaker" + heard + ")", "Speaker" + heard, "A && B" + heard});

    const AudioObjectID second = KXAHardwareManager::deviceIDNamed("A & B");
    click(menu, "A && B");
    click(menu, "A && B");
    EXPECT_EQ(chosen, std::vector{second});
    EXPECT_EQ(menu.chosenDevice(), second);
    system->setDefaultOutput("A & B");
    expectTexts(menu, {"Default Device (A && B" + heard + ")", "Speaker" + heard, "*A && B" + heard});
    system->setDevices({{"Speaker"}});
    expectTexts(menu, {"*Default Device (Speaker" + heard + ")", "Speaker" + heard});
    EXPECT_EQ(chosen, (std::vector<AudioObjectID>{second, kAudioObjectUnknown}));
    click(menu, "Speaker");
    click(menu, "Default");
    EXPECT_EQ(chosen.size(), 4U);
    system->setDevices({});
    expectTexts(menu, {"*Default Device (none)"});
    EXPECT_TRUE(menu.onlyVirtual());
}

TEST(OutputDeviceMenu, GoesWhileDevicesChange)
{
    const ScopedVirtualHardware system(kx::VirtualClock::Manual, {{"Speaker"}});
    std::jthread changes([&](const std::stop_token &stop) {
        for (int i = 0; !stop.stop_requested(); ++i)
            system->setDevices(i % 2 ? std::vector<kx::VirtualDevice>{{"Speaker"}}
                                     : std::vector<kx::VirtualDevice>{{"Speaker"}, {"Other"}});
    });
    for (int i = 0; i < 50; ++i) {
        OutputDeviceMenu menu;
        QCoreApplication::processEvents();
        EXPECT_GE(menu.actions().size(), 3);
    }
    changes.request_stop();
    changes.join();
}

} // namespace
