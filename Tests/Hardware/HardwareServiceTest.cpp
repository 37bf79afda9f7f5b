#include "KXFW/Platform/Foundation/StreamFormat.h"
#include "KXFW/Platform/Hardware/DeviceText.h"
#include "Tests/Hardware/HardwareTestKit.h"
#include "Tests/Support/ScopedVirtualHardware.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <list>
#include <thread>
#include <tuple>

namespace
{

using namespace kx::test;
using namespace std::string_literals;
using kx::deviceText;
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
    ScopedVirtualHardware hardware{VirtualClock::Manual, threeDevices()};
    HardwareService service{kx::makeVirtualBackend()};
};

TEST_F(HardwareServiceTest, DescribesEachDeviceInAnyScope)
{
    const auto ids = devicesOf(service);
    ASSERT_EQ(ids.size(), 3u);
    const auto format = propertyOf<AudioStreamBasicDescription>(service, ids[1], kAudioDevicePropertyStreamFormat);
    EXPECT_TRUE(kx::sameFormat(format, kx::interleaved(48000, 6, 32, kAudioFormatFlagIsFloat)));
    EXPECT_EQ(defaultOutputName(service), "Speakers");
    EXPECT_EQ(propertyOf<AudioObjectID>(service, kAudioObjectSystemObject, kAudioHardwarePropertyDefaultInputDevice),
              ids[1]);
    for (const auto scope : {kAudioDevicePropertyScopeInput, kAudioDevicePropertyScopeOutput})
        for (std::size_t i = 0; i < 3; ++i) {
            uint32_t can = 2;
            uint32_t size = sizeof can;
            get(ids[i], {kAudioDevicePropertyDeviceCanBeDefaultDevice, scope, 1}, size, &can);
            EXPECT_EQ(can, i == (scope == kAudioDevicePropertyScopeInput ? 0U : 2U) ? 0U : 1U) << i;
        }
    hardware->setDevices({{.name = "Twin"}, {.name = "Twin", .sampleRate = 96000}});
    const auto twins = devicesOf(service);
    ASSERT_EQ(twins.size(), 2u);
    EXPECT_NE(textOf(service, twins[0], kAudioDevicePropertyDeviceUID),
              textOf(service, twins[1], kAudioDevicePropertyDeviceUID));
}

TEST_F(HardwareServiceTest, RefusesWhatIsNotThere)
{
    const AudioObjectID device = devicesOf(service)[0];
    const AudioObjectPropertyAddress elsewhere{kAudioDevicePropertyDeviceName, kx::fourCharCode("none"), 0};
    const std::tuple<AudioObjectID, AudioObjectPropertyAddress, OSStatus> cases[] = {
        {device + 1000, anywhere(kAudioDevicePropertyDeviceName), kAudioHardwareBadObjectError},
        {device, anywhere(kAudioHardwarePropertyDevices), kAudioHardwareUnknownPropertyError},
        {kAudioObjectSystemObject, anywhere(kAudioDevicePropertyDeviceName), kAudioHardwareUnknownPropertyError},
        {device, elsewhere, kAudioHardwareUnknownPropertyError},
    };
    for (const auto &[object, address, expected] : cases) {
        uint32_t size = 64;
        std::array<char, 64> room{};
        SCOPED_TRACE(object);
        EXPECT_EQ(service.getSize(object, &address, &size), expected);
        EXPECT_EQ(service.getData(object, &address, &size, room.data()), expected);
        EXPECT_EQ(service.setData(object, &address, 4, room.data()), expected);
        const auto listener = [](AudioObjectID, uint32_t, const AudioObjectPropertyAddress *, void *) { return noErr; };
        EXPECT_EQ(service.addListener(object, &address, listener, nullptr), expected);
    }
    EXPECT_EQ(set(device, kAudioDevicePropertyDeviceName, 1), kAudioHardwareIllegalOperationError);
    EXPECT_EQ(service.getSize(device, nullptr, nullptr), kAudioHardwareIllegalOperationError);
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
    constexpr uint32_t kName = sizeof "Speakers";
    for (const uint32_t room : {kName - 1, kName, kName + 1}) {
        std::array<char, kName + 1> text{};
        uint32_t size = room;
        EXPECT_EQ(get(ids[0], anywhere(kAudioDevicePropertyDeviceName), size, text.data()),
                  room < kName ? kAudioHardwareBadPropertySizeError : noErr);
        EXPECT_TRUE(room < kName ? text[0] == '\0' : size == kName) << room;
    }
    uint32_t size = 3;
    EXPECT_EQ(get(kAudioObjectSystemObject, anywhere(kAudioHardwarePropertyDefaultOutputDevice), size, list.data()),
              kAudioHardwareBadPropertySizeError);
}

TEST_F(HardwareServiceTest, BufferSizeIsClampedToWholeFramesOfSaneCount)
{
    const auto ids = devicesOf(service);
    const std::tuple<std::size_t, uint32_t, uint32_t> cases[] = {// device, bytes wanted and given
                                                                 {0, 0, kx::kDefaultDeviceBufferBytes},
                                                                 {0, 1, kx::kMinimumSliceFrames * 4},
                                                                 {0, 4099, 4096},
                                                                 {0, UINT32_MAX, kx::kMaximumSliceFrames * 4},
                                                                 {1, 4096, 4080},
                                                                 {1, UINT32_MAX, kx::kMaximumSliceFrames * 24}};
    for (const auto &[device, bytes, expected] : cases) {
        EXPECT_EQ(set(ids[device], kAudioDevicePropertyBufferSize, bytes), noErr);
        EXPECT_EQ(propertyOf<uint32_t>(service, ids[device], kAudioDevicePropertyBufferSize), expected) << bytes;
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
    EXPECT_EQ(defaultOutput(service), kAudioObjectUnknown);
    hardware->setDevices(threeDevices());
    for (const AudioObjectID id : devicesOf(service))
        EXPECT_EQ(std::ranges::count(before, id), 0) << id;
}

TEST_F(HardwareServiceTest, OnlyWhatReallyChangedIsTold)
{
    constexpr AudioObjectID kSystem = kAudioObjectSystemObject;
    const AudioObjectID speakers = devicesOf(service)[0];
    const AudioObjectID interface = devicesOf(service)[1];
    std::string told; // by the notification thread
    std::list<TestListener> listeners;
    const std::tuple<AudioObjectID, AudioObjectPropertySelector, const char *> listened[] = {
        {kSystem, kAudioHardwarePropertyDevices, "devices "},
        {kSystem, kAudioHardwarePropertyDefaultInputDevice, "input "},
        {kSystem, kAudioHardwarePropertyDefaultOutputDevice, "output "},
        {kSystem, kAudioHardwarePropertySleepingIsAllowed, "sleeping "},
        {speakers, kAudioDevicePropertyBufferSize, "size "},
        {speakers, kAudioDevicePropertyStreamFormat, "format "}};
    for (const auto &[object, property, name] : listened)
        listeners.emplace_back(service, object, property, [&told, text = name] { told += text; });
    auto faster = threeDevices();
    faster[0].sampleRate = 96000;
    const std::pair<std::function<void()>, const char *> changes[] = {
        {[&] { hardware->setDevices(threeDevices()); }, ""},
        {[&] { hardware->setDefaultOutput("Interface"); }, "output "},
        {[&] { hardware->setDefaultInput("Microphone"); }, "input "},
        {[&] { set(kSystem, kAudioHardwarePropertySleepingIsAllowed, 1); }, ""}, // as it was
        {[&] { set(kSystem, kAudioHardwarePropertySleepingIsAllowed, 0); }, "sleeping "},
        {[&] { set(speakers, kAudioDevicePropertyBufferSize, 512); }, "size "},
        {[&] { hardware->setDevices(faster); }, "format "},
        {[&] {
             hardware->setDevices({faster[0], faster[1]});
         },
         "devices input "}};
    TestListener last(service, interface, kAudioDevicePropertyBufferSize);
    int count = 0;
    for (const auto &[change, expected] : changes) {
        change();
        set(interface, kAudioDevicePropertyBufferSize, 2400 + 24 * static_cast<uint32_t>(++count));
        ASSERT_TRUE(last.waitForCalls(count)) << "told at once, after what was to be told";
        EXPECT_EQ(std::exchange(told, ""), expected);
    }
}

TEST_F(HardwareServiceTest, ABurstOfChangesIsToldOnceAndLast)
{
    using namespace std::chrono_literals;
    hardware->setDevices({{.name = "A"}, {.name = "B"}});
    HardwareService patient(kx::makeVirtualBackend(), {1h, 1h});
    TestListener devices(patient, kAudioObjectSystemObject, kAudioHardwarePropertyDevices);
    TestListener output(patient, kAudioObjectSystemObject, kAudioHardwarePropertyDefaultOutputDevice);
    TestListener sleeping(patient, kAudioObjectSystemObject, kAudioHardwarePropertySleepingIsAllowed);
    const auto setSleeping = [&](uint32_t allowed, int calls) { // told after what was told before
        const auto address = anywhere(kAudioHardwarePropertySleepingIsAllowed);
        patient.setData(kAudioObjectSystemObject, &address, sizeof allowed, &allowed);
        ASSERT_TRUE(sleeping.waitForCalls(calls)) << "what an application sets is told at once";
    };
    setSleeping(0, 1);
    hardware->setDevices({{.name = "A"}, {.name = "B"}, {.name = "C"}});
    for (const std::string name : {"C", "A", "B"}) {
        hardware->setDefaultOutput(name);
        EXPECT_EQ(defaultOutputName(patient), name) << "a question is answered at once";
    }
    linger(1000);
    EXPECT_EQ(output.calls(), 0) << "while changes come";
    setSleeping(1, 2);
    setSleeping(0, 3);
    EXPECT_EQ(output.calls(), 1);
    EXPECT_EQ(devices.calls(), 1);

    HardwareService hasty(kx::makeVirtualBackend(), {1h, 1ms});
    TestListener back(hasty, kAudioObjectSystemObject, kAudioHardwarePropertyDefaultOutputDevice);
    hardware->setDefaultOutput("A");
    hardware->setDefaultOutput("B");
    ASSERT_TRUE(back.waitForCalls(1)) << "in time though it never rests, and also where it ends as it began";
}

TEST(DeviceText, KeepsCharactersAndReplacesWhatIsNone)
{
    const std::string bad = "\xEF\xBF\xBD";
    const std::pair<std::string, std::string> cases[] = {
        {"Büro %s %n\n", "Büro %s %n\n"},
        {"日本語 🎧", "日本語 🎧"},
        {"a\0b"s, "a"},
        {"\xC0\xAF", bad + bad},                     // an overlong slash
        {"\xE0\x80\x80", bad + bad + bad},           // an overlong zero
        {"\xED\xA0\x80", bad + bad + bad},           // a surrogate
        {"\xF4\x90\x80\x80", bad + bad + bad + bad}, // beyond the last character
        {"\xF8\x88\x80\x80\x80", bad + bad + bad + bad + bad},
        {"cut \xE2\x82", "cut " + bad + bad},
        {"\x80z\xFF", bad + "z" + bad},
        {"\xC3(", bad + "("},
    };
    for (const auto &[bytes, expected] : cases)
        EXPECT_EQ(deviceText(bytes), expected);
}

} // namespace
