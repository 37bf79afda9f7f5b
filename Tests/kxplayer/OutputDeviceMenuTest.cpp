#include "Apps/kxplayer/OutputDeviceMenu.h"
#include "Tests/Support/ScopedVirtualHardware.h"

#include <gtest/gtest.h>

#include <QTest>

#include <thread>

using namespace kx::test;
using kxplayer::OutputDeviceMenu;

namespace
{

void expectTexts(const QMenu &menu, const QStringList &texts)
{
    const auto shown = [&] {
        QStringList result;
        for (const QAction *action : menu.actions())
            if (!action->isSeparator())
                result << (action->isChecked() ? "*" : "") + action->text().remove(" (virtual, not heard)");
        return result;
    };
    EXPECT_TRUE(QTest::qWaitFor([&] { return shown() == texts; }, 30000)) << shown().join(" | ").toStdString();
}

TEST(OutputDeviceMenu, FollowsTheDevicesThatComeAndGo)
{
    const ScopedVirtualHardware system(kx::VirtualClock::Manual,
                                       {{"Speaker"}, {"Mic", 48000, 1, 16, true, false}, {"A & B"}});
    OutputDeviceMenu menu;
    std::vector<kx::DeviceID> chosen;
    QObject::connect(&menu, &OutputDeviceMenu::deviceChosen, [&](kx::DeviceID device) { chosen.push_back(device); });
    const auto click = [&](int action) { menu.actions()[action]->trigger(); }; // the second is a separator
    expectTexts(menu, {"*Default Device (Speaker)", "Speaker", "A && B"});
    EXPECT_EQ(menu.actions()[2]->text(), "Speaker (virtual, not heard)");
    const kx::DeviceID second = kx::deviceNamed("A & B")->id;
    click(3);
    click(3);
    EXPECT_EQ(chosen, std::vector{second});
    system->setDefaultOutput("A & B");
    expectTexts(menu, {"Default Device (A && B)", "Speaker", "*A && B"});
    system->setDevices({{"Speaker"}});
    expectTexts(menu, {"*Default Device (Speaker)", "Speaker"});
    click(2);
    click(0);
    const kx::DeviceID first = kx::deviceNamed("Speaker")->id;
    EXPECT_EQ(chosen, (std::vector<kx::DeviceID>{second, 0, first, 0}));
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
