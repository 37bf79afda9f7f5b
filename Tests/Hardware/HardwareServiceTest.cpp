#include "KXFW/Platform/Foundation/StreamFormat.h"
#include "Tests/Hardware/HardwareTestKit.h"
#include "Tests/Support/ScopedVirtualHardware.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <mutex>

namespace
{

using namespace kx::test;
using kx::HardwareService;
using kx::VirtualClock;
using kx::VirtualDevice;

std::vector<VirtualDevice> threeDevices()
{
    return {{.name = "Speakers"},
            {.name = "Interface", .sampleRate = 48000, .channels = 6, .bits = 32, .hasInput = true},
            {.name = "Microphone", .channels = 1, .hasInput = true, .hasOutput = false}};
}

class HardwareServiceTest : public ::testing::Test
{
protected:
    OSStatus get(AudioObjectID object, AudioObjectPropertyAddress address, uint32_t &size, void *data)
    {
        return service.getData(object, &address, &size, data);
    }
    OSStatus set(AudioObjectID object, AudioObjectPropertySelector selector, uint32_t value)
    {
        const auto address = anywhere(selector);
        return service.setData(object, &address, sizeof value, &value);
    }
    AudioObjectID system(AudioObjectPropertySelector selector)
    {
        return propertyOf<AudioObjectID>(service, kAudioObjectSystemObject, selector);
    }

    ScopedVirtualHardware hardware{VirtualClock::Manual, threeDevices()};
    HardwareService service{kx::makeVirtualBackend()};
};

TEST_F(HardwareServiceTest, DescribesEachDevice)
{
    const auto ids = devicesOf(service);
    ASSERT_EQ(ids.size(), 3u);
    EXPECT_EQ(textOf(service, ids[0], kAudioDevicePropertyDeviceName), "Speakers");
    EXPECT_EQ(textOf(service, ids[2], kAudioDevicePropertyDeviceName), "Microphone");
    EXPECT_NE(textOf(service, ids[0], kAudioDevicePropertyDeviceUID),
              textOf(service, ids[1], kAudioDevicePropertyDeviceUID));
    EXPECT_EQ(propertyOf<uint32_t>(service, ids[0], kAudioDevicePropertyTransportType),
              kAudioDeviceTransportTypeVirtual);
    const auto format = propertyOf<AudioStreamBasicDescription>(service, ids[1], kAudioDevicePropertyStreamFormat);
    EXPECT_TRUE(kx::sameFormat(format, kx::interleaved(48000, 6, 32, kAudioFormatFlagIsFloat)));
    EXPECT_EQ(system(kAudioHardwarePropertyDefaultOutputDevice), ids[0]);
    EXPECT_EQ(system(kAudioHardwarePropertyDefaultInputDevice), ids[1]);
    const auto can = [&](AudioObjectID device, AudioObjectPropertyScope scope) {
        uint32_t answer = 2;
        uint32_t size = sizeof answer;
        get(device, {kAudioDevicePropertyDeviceCanBeDefaultDevice, scope, 0}, size, &answer);
        return answer;
    };
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(can(ids[i], kAudioDevicePropertyScopeOutput), i == 2 ? 0U : 1U) << i;
        EXPECT_EQ(can(ids[i], kAudioDevicePropertyScopeInput), i == 0 ? 0U : 1U) << i;
    }
}

TEST_F(HardwareServiceTest, AnyScopeAndElementFindAProperty)
{
    const AudioObjectID id = devicesOf(service)[2];
    for (const auto scope : {kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyScopeWildcard,
                             kAudioDevicePropertyScopeInput, kAudioDevicePropertyScopeOutput})
        for (const auto element : {kAudioObjectPropertyElementMaster, kAudioObjectPropertyElementWildcard, 1u}) {
            const AudioObjectPropertyAddress address{kAudioDevicePropertyDeviceName, scope, element};
            uint32_t size = 0;
            EXPECT_EQ(service.getSize(id, &address, &size), noErr) << scope << " " << element;
            EXPECT_EQ(size, sizeof "Microphone");
        }
}

TEST_F(HardwareServiceTest, RefusesWhatIsNotThere)
{
    const AudioObjectID device = devicesOf(service)[0];
    const AudioObjectID stranger = device + 1000;
    struct Case {
        AudioObjectID object;
        AudioObjectPropertyAddress address;
        OSStatus expected;
    };
    const std::array cases{
        Case{kAudioObjectUnknown, anywhere(kAudioDevicePropertyDeviceName), kAudioHardwareBadObjectError},
        Case{stranger, anywhere(kAudioDevicePropertyDeviceName), kAudioHardwareBadObjectError},
        Case{device, anywhere(kAudioHardwarePropertyDevices), kAudioHardwareUnknownPropertyError},
        Case{kAudioObjectSystemObject, anywhere(kAudioDevicePropertyDeviceName), kAudioHardwareUnknownPropertyError},
        Case{device, {kAudioDevicePropertyDeviceName, kx::fourCharCode("none"), 0}, kAudioHardwareUnknownPropertyError},
    };
    for (const Case &each : cases) {
        uint32_t size = 64;
        std::array<char, 64> room{};
        SCOPED_TRACE(each.object);
        EXPECT_EQ(service.getSize(each.object, &each.address, &size), each.expected);
        EXPECT_EQ(service.getData(each.object, &each.address, &size, room.data()), each.expected);
        EXPECT_EQ(service.setData(each.object, &each.address, 4, room.data()), each.expected);
        EXPECT_EQ(TestListener(service, each.object, each.address.mSelector).status() == noErr,
                  each.address.mScope != kAudioObjectPropertyScopeWildcard);
    }
    EXPECT_EQ(set(device, kAudioDevicePropertyDeviceName, 1), kAudioHardwareIllegalOperationError);
    EXPECT_EQ(set(kAudioObjectSystemObject, kAudioHardwarePropertyDevices, 1), kAudioHardwareIllegalOperationError);
}

TEST_F(HardwareServiceTest, CutsListsToWholeEntriesAndRefusesCutValues)
{
    const auto ids = devicesOf(service);
    std::array<AudioObjectID, 8> list{};
    for (uint32_t room = 0; room <= sizeof list; ++room) {
        uint32_t size = room;
        EXPECT_EQ(get(kAudioObjectSystemObject, anywhere(kAudioHardwarePropertyDevices), size, list.data()), noErr);
        EXPECT_EQ(size, std::min<uint32_t>(room / 4, 3) * 4) << room;
    }
    EXPECT_TRUE(std::equal(ids.begin(), ids.end(), list.begin()));

    std::array<char, sizeof "Speakers" + 1> text{};
    uint32_t size = sizeof "Speakers" - 1;
    EXPECT_EQ(get(ids[0], anywhere(kAudioDevicePropertyDeviceName), size, text.data()),
              kAudioHardwareBadPropertySizeError);
    EXPECT_EQ(text[0], '\0');
    size = text.size();
    EXPECT_EQ(get(ids[0], anywhere(kAudioDevicePropertyDeviceName), size, text.data()), noErr);
    EXPECT_EQ(size, sizeof "Speakers");
    size = 3;
    EXPECT_EQ(get(kAudioObjectSystemObject, anywhere(kAudioHardwarePropertyDefaultOutputDevice), size, list.data()),
              kAudioHardwareBadPropertySizeError);
}

TEST_F(HardwareServiceTest, BufferSizeIsClampedToWholeFramesOfSaneCount)
{
    const auto ids = devicesOf(service);
    struct Case {
        AudioObjectID device;
        uint32_t frameBytes;
        uint32_t bytes;
        uint32_t expected;
    };
    const std::array cases{
        Case{ids[0], 4, 2048, 2048},
        Case{ids[0], 4, 0, kx::kDefaultDeviceBufferBytes},
        Case{ids[0], 4, 1, kx::kMinimumSliceFrames * 4},
        Case{ids[0], 4, 4099, 4096},
        Case{ids[0], 4, 0xFFFFFFFF, kx::kMaximumSliceFrames * 4},
        Case{ids[1], 24, 4096, 4080},
        Case{ids[1], 24, 0xFFFFFFFF, kx::kMaximumSliceFrames * 24},
    };
    EXPECT_EQ(propertyOf<uint32_t>(service, ids[0], kAudioDevicePropertyBufferSize), 4096u);
    for (const Case &each : cases) {
        EXPECT_EQ(set(each.device, kAudioDevicePropertyBufferSize, each.bytes), noErr);
        EXPECT_EQ(propertyOf<uint32_t>(service, each.device, kAudioDevicePropertyBufferSize), each.expected)
            << each.bytes;
    }
    const auto address = anywhere(kAudioDevicePropertyBufferSize);
    const uint64_t wide = 4096;
    EXPECT_EQ(service.setData(ids[0], &address, sizeof wide, &wide), kAudioHardwareBadPropertySizeError);
}

TEST_F(HardwareServiceTest, DevicesKeepTheirNumbersWhilePresentAndNumbersAreNotGivenTwice)
{
    const auto before = devicesOf(service);
    set(before[0], kAudioDevicePropertyBufferSize, 1024);
    auto devices = threeDevices();
    std::ranges::reverse(devices);
    devices[2].sampleRate = 48000;
    hardware->setDevices(devices);
    const auto reversed = devicesOf(service);
    EXPECT_TRUE(std::equal(before.begin(), before.end(), reversed.rbegin(), reversed.rend()));
    EXPECT_EQ(propertyOf<uint32_t>(service, before[0], kAudioDevicePropertyBufferSize), 1024u);

    hardware->setDevices({});
    EXPECT_TRUE(devicesOf(service).empty());
    uint32_t size = sizeof(AudioObjectID);
    AudioObjectID none = 77;
    EXPECT_EQ(get(kAudioObjectSystemObject, anywhere(kAudioHardwarePropertyDefaultOutputDevice), size, &none), noErr);
    EXPECT_EQ(none, kAudioObjectUnknown);
    EXPECT_EQ(size, 4u);

    hardware->setDevices(threeDevices());
    for (const AudioObjectID id : devicesOf(service))
        EXPECT_EQ(std::ranges::count(before, id), 0) << id;
}

TEST_F(HardwareServiceTest, NamesakesAreTwoDevices)
{
    hardware->setDevices({{.name = "Twin"}, {.name = "Twin", .sampleRate = 96000}});
    const auto ids = devicesOf(service);
    ASSERT_EQ(ids.size(), 2u);
    EXPECT_NE(ids[0], ids[1]);
    EXPECT_NE(textOf(service, ids[0], kAudioDevicePropertyDeviceUID),
              textOf(service, ids[1], kAudioDevicePropertyDeviceUID));
    EXPECT_EQ(deviceNamed(service, "Twin"), ids[0]);
}

TEST_F(HardwareServiceTest, OnlyWhatReallyChangedIsTold)
{
    TestListener devices(service, kAudioObjectSystemObject, kAudioHardwarePropertyDevices);
    TestListener input(service, kAudioObjectSystemObject, kAudioHardwarePropertyDefaultInputDevice);
    TestListener output(service, kAudioObjectSystemObject, kAudioHardwarePropertyDefaultOutputDevice);
    TestListener sleeping(service, kAudioObjectSystemObject, kAudioHardwarePropertySleepingIsAllowed);
    const AudioObjectID speakers = devicesOf(service)[0];
    TestListener bufferSize(service, speakers, kAudioDevicePropertyBufferSize);
    TestListener format(service, speakers, kAudioDevicePropertyStreamFormat);

    hardware->setDevices(threeDevices()); // the same again
    hardware->setDefaultOutput("Interface");
    ASSERT_TRUE(output.waitForCalls(1));
    set(kAudioObjectSystemObject, kAudioHardwarePropertySleepingIsAllowed, 1); // as it was
    set(speakers, kAudioDevicePropertyBufferSize, 512);
    ASSERT_TRUE(bufferSize.waitForCalls(1));
    auto faster = threeDevices();
    faster[0].sampleRate = 96000;
    hardware->setDevices(faster);
    ASSERT_TRUE(format.waitForCalls(1));
    set(kAudioObjectSystemObject, kAudioHardwarePropertySleepingIsAllowed, 0);
    ASSERT_TRUE(sleeping.waitForCalls(1));

    EXPECT_EQ(devices.calls(), 0);
    EXPECT_EQ(input.calls(), 0);
    EXPECT_EQ(output.calls(), 1);
    EXPECT_EQ(bufferSize.calls(), 1);
}

TEST_F(HardwareServiceTest, ABurstOfChangesIsToldOnceAndLast)
{
    std::mutex gate;
    std::atomic<bool> isInside = false;
    TestListener devices(service, kAudioObjectSystemObject, kAudioHardwarePropertyDevices, [&] {
        isInside = true;
        isInside.notify_all();
        const std::lock_guard guard(gate);
    });
    TestListener output(service, kAudioObjectSystemObject, kAudioHardwarePropertyDefaultOutputDevice);
    {
        const std::lock_guard guard(gate); // keeps the notification thread busy while the burst comes
        hardware->setDevices({{.name = "A"}, {.name = "B"}});
        isInside.wait(false);
        for (int i = 0; i < 500; ++i)
            hardware->setDefaultOutput(i % 2 == 0 ? "A" : "B");
    }
    ASSERT_TRUE(output.waitForCalls(2)); // from Speakers to A at first, and then to B
    EXPECT_EQ(defaultOutputName(service), "B");
    TestListener later(service, kAudioObjectSystemObject, kAudioHardwarePropertySleepingIsAllowed);
    set(kAudioObjectSystemObject, kAudioHardwarePropertySleepingIsAllowed, 0);
    ASSERT_TRUE(later.waitForCalls(1)); // all that was due before has been told
    EXPECT_EQ(output.calls(), 2);
    EXPECT_EQ(devices.calls(), 1);
    {
        TestListener back(service, kAudioObjectSystemObject, kAudioHardwarePropertyDefaultOutputDevice);
        hardware->setDefaultOutput("A");
        hardware->setDefaultOutput("B");
        ASSERT_TRUE(back.waitForCalls(1)); // also where the burst ends as it began: somebody may have met A
    }
}

} // namespace
