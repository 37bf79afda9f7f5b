#include "KXFW/Audio/KXAHardwareManager.h"
#include "KXFW/Platform/Foundation/NSNotificationCenter.h"
#include "Tests/Support/ScopedVirtualHardware.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

using namespace kx::test;

namespace
{

TEST(HardwareManager, AnswersAboutTheDevicesThatArePresent)
{
    const ScopedVirtualHardware system(kx::VirtualClock::Manual,
                                       {{"Speaker"}, {"Twin"}, {"Mic", 48000, 1, 16, true, false}});
    kx::VirtualHardware::instance().setDefaultInput("Mic");
    ASSERT_EQ(KXAHardwareManager::numberOfDevices(), 3);
    const std::unique_ptr<AudioObjectID, void (*)(void *)> ids(KXAHardwareManager::deviceIDs(), std::free);
    ASSERT_EQ(ids.get()[3], 0U) << "the list ends with a 0";
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(KXAHardwareManager::deviceIDIsAlive(ids.get()[i]));
        EXPECT_EQ(KXAHardwareManager::deviceIDNamed(KXAHardwareManager::nameOfDeviceID(ids.get()[i])), ids.get()[i]);
    }
    EXPECT_EQ(KXAHardwareManager::nameOfDeviceID(KXAHardwareManager::defaultOutputDeviceID()), "Speaker");
    EXPECT_EQ(KXAHardwareManager::nameOfDeviceID(KXAHardwareManager::defaultInputDeviceID()), "Mic");
    EXPECT_EQ(KXAHardwareManager::deviceIDNamed("speaker"), 0U) << "letter case counts";
    EXPECT_EQ(KXAHardwareManager::nameOfDeviceID(4711), "");
    EXPECT_FALSE(KXAHardwareManager::deviceIDIsAlive(0));
    EXPECT_FALSE(KXAHardwareManager::deviceIDIsAlive(*std::max_element(ids.get(), ids.get() + 3) + 1));
    EXPECT_EQ(KXAHardwareManager::cStringPropertyOfDeviceID(ids.get()[0], kx::fourCharCode("none"), false, 0), nullptr);
}

TEST(HardwareManager, AnswersZeroWithoutDevices)
{
    const ScopedVirtualHardware system(kx::VirtualClock::Manual, {});
    EXPECT_EQ(KXAHardwareManager::numberOfDevices(), 0);
    EXPECT_EQ(KXAHardwareManager::defaultOutputDeviceID(), 0U);
    EXPECT_EQ(KXAHardwareManager::deviceIDNamed("Speaker"), 0U);
    std::free(KXAHardwareManager::deviceIDs());
}

TEST(HardwareManager, ClearsItsFlagsAndPostsOneNotification)
{
    gAnyHardwarePropertyIsUpdated = 1;
    KXAHardwareManager manager;
    EXPECT_EQ(gAnyHardwarePropertyIsUpdated, 0);
    int posted = 0;
    auto &center = NSNotificationCenter::defaultCenter();
    const auto token = center.addObserver("HardwarePropertyChanged", [&](const std::string &) { ++posted; });
    const int8_t flags[4] = {1, 0, 2, 1};
    std::copy_n(flags, 4, gHardwarePropertyFlags);
    manager.parseUpdatedProperty();
    center.removeObserver(token);
    EXPECT_EQ(posted, 1);
    const int8_t expected[4] = {0, 0, 2, 0};
    EXPECT_TRUE(std::equal(expected, expected + 4, gHardwarePropertyFlags));
    EXPECT_EQ(MyHardwarePropertyListenerProc(1, 0, nullptr, nullptr), noErr);
}

} // namespace
