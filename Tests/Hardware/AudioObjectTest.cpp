#include "KXFW/Platform/Hardware/AudioObject.h"

#include "KXFW/Platform/Hardware/Backends/BackendTable.h"
#include "KXFW/Platform/Hardware/Hardware.h"
#include "Tests/Hardware/HardwareTestKit.h"
#include "Tests/Support/PulseServer.h"
#include "Tests/Support/ScopedVirtualHardware.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace
{

using namespace kx::test;

/// Sets KXFW_AUDIO_BACKEND, or takes it away; undone at the end.
class ScopedChoice
{
public:
    explicit ScopedChoice(const char *backend) : old_(std::getenv(kName) == nullptr ? "" : std::getenv(kName))
    {
        setenv(kName, backend, 1);
    }
    ~ScopedChoice() { setenv(kName, old_.c_str(), 1); }
    ScopedChoice(const ScopedChoice &) = delete;
    ScopedChoice &operator=(const ScopedChoice &) = delete;

private:
    static constexpr const char *kName = "KXFW_AUDIO_BACKEND";
    std::string old_;
};

/// What the backend's first device is called; "none" where it has no device.
std::string firstDevice()
{
    const auto backend = kx::makeBackend();
    return backend == nullptr                 ? "no backend"
           : backend->state().devices.empty() ? "none"
                                              : backend->state().devices[0].uid;
}

TEST(BackendTable, ChoosesWhatAnswersUnlessItIsTold)
{
    const std::string virtualDevice = "virtual.1.Virtual Output";
    PulseServer server;
    struct Case {
        const char *choice;
        std::string withServer;
        std::string withoutServer;
    };
    const Case cases[] = {{"", "kx1", virtualDevice},
                          {"pulse", "kx1", "none"},
                          {"virtual", virtualDevice, virtualDevice},
                          {"no-such-system", "kx1", virtualDevice}};
    for (const Case &each : cases) {
        const ScopedChoice choice(each.choice);
        EXPECT_EQ(firstDevice(), each.withServer) << each.choice;
    }
    server.stop();
    for (const Case &each : cases) {
        const ScopedChoice choice(each.choice);
        EXPECT_EQ(firstDevice(), each.withoutServer) << each.choice;
    }
}

TEST(AudioObject, SpeaksForTheProcess)
{
    const ScopedChoice choice("virtual"); // for the service, which is made here
    const ScopedVirtualHardware hardware(kx::VirtualClock::FlatOut);
    const auto output = anywhere(kAudioHardwarePropertyDefaultOutputDevice);
    AudioObjectID device = 0;
    uint32_t size = sizeof device;
    ASSERT_EQ(AudioObjectGetPropertyData(kAudioObjectSystemObject, &output, 0, nullptr, &size, &device), noErr);
    const auto name = anywhere(kAudioDevicePropertyDeviceName);
    EXPECT_EQ(AudioObjectGetPropertyDataSize(device, &name, 0, nullptr, &size), noErr);
    EXPECT_EQ(size, sizeof "Virtual Output");

    const auto bufferSize = anywhere(kAudioDevicePropertyBufferSize);
    const uint32_t bytes = 400 * 4;
    ASSERT_EQ(AudioObjectSetPropertyData(device, &bufferSize, 0, nullptr, sizeof bytes, &bytes), noErr);
    auto stream = kx::openOutputStream(device);
    ASSERT_TRUE(stream);
    EXPECT_EQ(*(*stream)->waitForRoom(), 400u);

    std::atomic<int> calls = 0;
    const auto listener = [](AudioObjectID, uint32_t, const AudioObjectPropertyAddress *, void *count) {
        static_cast<std::atomic<int> *>(count)->fetch_add(1);
        static_cast<std::atomic<int> *>(count)->notify_all();
        return noErr;
    };
    ASSERT_EQ(AudioObjectAddPropertyListener(kAudioObjectSystemObject, &output, listener, &calls), noErr);
    hardware->setDefaultOutput("");
    calls.wait(0);
    EXPECT_EQ(AudioObjectRemovePropertyListener(kAudioObjectSystemObject, &output, listener, &calls), noErr);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(AudioObjectGetPropertyData(kAudioObjectSystemObject, nullptr, 0, nullptr, &size, &device),
              kAudioHardwareIllegalOperationError);
    EXPECT_EQ(AudioObjectAddPropertyListener(kAudioObjectSystemObject, &output, nullptr, &calls),
              kAudioHardwareIllegalOperationError);
}

} // namespace
