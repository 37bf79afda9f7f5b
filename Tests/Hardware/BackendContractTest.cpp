#include "KXFW/Platform/Conversion/SampleFormat.h"
#include "KXFW/Platform/Hardware/Backends/WakeSignal.h"
#include "KXFW/Platform/Hardware/HardwareBackend.h"
#include "Tests/Hardware/HardwareTestKit.h"
#include "Tests/Support/PulseServer.h"
#include "Tests/Support/ScopedVirtualHardware.h"

#include <gtest/gtest.h>

#include <set>
#include <thread>

namespace
{

using namespace kx::test;
using kx::HardwareBackend;
using kx::OutputStream;

constexpr uint32_t kSlice = 512;

/// A sound system with the devices "one" (the default) and "two".
class SoundSystem
{
public:
    virtual ~SoundSystem() = default;
    virtual std::unique_ptr<HardwareBackend> make() = 0;
    virtual void removeDeviceTwo() = 0;
};

class VirtualSoundSystem final : public SoundSystem
{
public:
    std::unique_ptr<HardwareBackend> make() override { return kx::makeVirtualBackend(); }
    void removeDeviceTwo() override { hardware_->setDevices({{"one"}}); }

private:
    ScopedVirtualHardware hardware_{kx::VirtualClock::RealTime, {{"one"}, {"two"}}};
};

class PulseSoundSystem final : public SoundSystem
{
public:
    std::unique_ptr<HardwareBackend> make() override { return kx::makePulseBackend(); }
    void removeDeviceTwo() override { server_.removeSink("two"); }

private:
    PulseServer server_{{{"one"}, {"two"}}};
};

struct Kind {
    const char *name;
    std::unique_ptr<SoundSystem> (*make)();
};

class BackendContract : public ::testing::TestWithParam<Kind>
{
protected:
    std::unique_ptr<OutputStream> open(std::size_t device)
    {
        auto stream = backend->openOutput(backend->state().devices.at(device).uid, kSlice);
        return stream ? std::move(*stream) : nullptr;
    }

    std::unique_ptr<SoundSystem> system = GetParam().make();
    std::unique_ptr<HardwareBackend> backend = system->make();
};

TEST_P(BackendContract, DescribesDevicesThatCanBeToldApartAndPlayedTo)
{
    const kx::HardwareState state = backend->state();
    ASSERT_EQ(state.devices.size(), 2u);
    EXPECT_EQ(state.defaultOutput, state.devices[0].uid);
    std::set<std::string> uids;
    for (const kx::DeviceInfo &device : state.devices) {
        EXPECT_TRUE(uids.insert(device.uid).second) << device.uid;
        EXPECT_FALSE(device.name.empty());
        EXPECT_TRUE(device.hasOutput);
        EXPECT_TRUE(kx::isConvertible(device.format));
    }
    EXPECT_EQ(backend->openOutput("", kSlice).status(), kAudioHardwareBadDeviceError);
    EXPECT_EQ(backend->openOutput("no such device", kSlice).status(), kAudioHardwareBadDeviceError);
}

TEST_P(BackendContract, AsksForSlicesUntilItIsDrained)
{
    const auto stream = open(0);
    ASSERT_NE(stream, nullptr);
    const std::vector<std::byte> slice(kSlice * stream->format().mBytesPerFrame);
    for (int i = 0; i < 20; ++i) {
        const auto room = stream->waitForRoom();
        ASSERT_TRUE(room);
        ASSERT_GT(*room, 0u);
        ASSERT_LE(*room, kSlice);
        ASSERT_EQ(stream->write(slice.data(), *room), noErr);
    }
    EXPECT_EQ(stream->write(slice.data(), 0), noErr);
    stream->drain();
    stream->drain(); // nothing is left
    EXPECT_GT(*stream->waitForRoom(), 0u) << "a drained stream goes on";
}

TEST_P(BackendContract, AnInterruptionIsForGood)
{
    const auto stream = open(0);
    ASSERT_NE(stream, nullptr);
    std::thread interrupter([&] { stream->interrupt(); });
    const std::vector<std::byte> slice(kSlice * stream->format().mBytesPerFrame);
    for (;;) {
        const auto room = stream->waitForRoom();
        ASSERT_TRUE(room);
        if (*room == 0)
            break;
        ASSERT_EQ(stream->write(slice.data(), *room), noErr);
    }
    interrupter.join();
    EXPECT_EQ(*stream->waitForRoom(), 0u);
    EXPECT_EQ(stream->write(slice.data(), 1), noErr);
    stream->drain();
}

TEST_P(BackendContract, TellsOfADeviceThatGoesAndLosesItsStreamsOnly)
{
    kx::WakeSignal told;
    backend->setChangeHandler([&] {
        EXPECT_LE(backend->state().devices.size(), 2u); // it may ask
        told.raise();
    });
    const auto staying = open(0);
    const auto going = open(1);
    ASSERT_TRUE(staying && going);
    system->removeDeviceTwo();
    EXPECT_TRUE(told.waitUntil(std::chrono::steady_clock::now() + kPatience,
                               [&] { return backend->state().devices.size() == 1; }));
    auto room = going->waitForRoom();
    while (room && *room > 0)
        room = going->waitForRoom();
    EXPECT_EQ(room.status(), kAudioHardwareBadDeviceError);
    EXPECT_GT(*staying->waitForRoom(), 0u);
    backend.reset(); // the streams may outlive it, and no change is told from here on
}

INSTANTIATE_TEST_SUITE_P(
    Hardware, BackendContract,
    ::testing::Values(
        Kind{"virtual", []() -> std::unique_ptr<SoundSystem> { return std::make_unique<VirtualSoundSystem>(); }},
        Kind{"pulse", []() -> std::unique_ptr<SoundSystem> { return std::make_unique<PulseSoundSystem>(); }}),
    [](const auto &kind) { return std::string(kind.param.name); });

} // namespace
