#include "KXFW/Audio/KXAHardwareManager.h"
#include "KXFW/Platform/Foundation/NSNotificationCenter.h"
#include "Tests/Support/ScopedVirtualHardware.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>

using namespace kx::test;
using Manager = KXAHardwareManager;

namespace
{

TEST(HardwareManager, AnswersAboutTheDevicesThatArePresent)
{
    const ScopedVirtualHardware system(kx::VirtualClock::Manual,
                                       {{"Speaker"}, {"Twin"}, {"Mic", 48000, 1, 16, true, false}});
    system->setDefaultInput("Mic");
    ASSERT_EQ(Manager::numberOfDevices(), 3);
    const std::unique_ptr<AudioObjectID, void (*)(void *)> ids(Manager::deviceIDs(), std::free);
    ASSERT_EQ(ids.get()[3], 0U) << "the list ends with a 0";
    EXPECT_EQ(Manager::deviceIDNamed("Mic"), ids.get()[2]);
    EXPECT_TRUE(Manager::deviceIDIsAlive(ids.get()[2]));
    EXPECT_EQ(Manager::nameOfDeviceID(Manager::defaultOutputDeviceID()), "Speaker");
    EXPECT_EQ(Manager::nameOfDeviceID(Manager::defaultInputDeviceID()), "Mic");
    EXPECT_EQ(Manager::deviceIDNamed("speaker"), 0U) << "letter case counts";
    EXPECT_EQ(Manager::nameOfDeviceID(4711), "");
    EXPECT_FALSE(Manager::deviceIDIsAlive(0));
    system->setDevices({});
    EXPECT_FALSE(Manager::deviceIDIsAlive(ids.get()[2]));
    EXPECT_EQ(Manager::defaultOutputDeviceID(), 0U);
}

TEST(HardwareManager, ClearsItsFlagsAndPostsOneNotification)
{
    int posted = 0;
    auto &center = NSNotificationCenter::defaultCenter();
    const auto token = center.addObserver("HardwarePropertyChanged", [&](const std::string &) { ++posted; });
    std::ranges::copy(std::array<int8_t, 4>{1, 0, 2, 1}, gHardwarePropertyFlags);
    Manager().parseUpdatedProperty();
    center.removeObserver(token);
    EXPECT_EQ(posted, 1);
    EXPECT_TRUE(std::ranges::equal(gHardwarePropertyFlags, std::array<int8_t, 4>{0, 0, 2, 0}));
}

} // namespace
