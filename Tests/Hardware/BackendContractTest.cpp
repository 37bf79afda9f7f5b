#include "KXFW/Platform/Hardware/Backends/AlsaBackend.h"
#include "KXFW/Platform/Hardware/Backends/BackendTable.h"
#include "KXFW/Platform/Hardware/Backends/WakeSignal.h"
#include "KXFW/Platform/Hardware/HardwareBackend.h"
#include "Tests/Hardware/CountingWriter.h"
#include "Tests/Hardware/HardwareTestKit.h"
#include "Tests/Support/PulseServer.h"
#include "Tests/Support/ScopedAlsaConfiguration.h"
#include "Tests/Support/ScopedVirtualHardware.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <thread>

namespace
{

using namespace kx::test;
using kx::HardwareBackend;
using kx::OutputStream;

constexpr uint32_t kSlice = 512;

/// A sound system with the devices "one" (the default) and "two", by which names their uids end.
struct SoundSystem {
    std::shared_ptr<void> running;
    std::unique_ptr<HardwareBackend> (*makeBackend)();
    std::function<void()> removeDeviceTwo;
};

template <kx::VirtualClock Clock> SoundSystem virtualSystem()
{
    const auto system =
        std::make_shared<ScopedVirtualHardware>(Clock, std::vector<kx::VirtualDevice>{{"one"}, {"two"}});
    return {system, kx::makeVirtualBackend, [hardware = system.get()] { (*hardware)->setDevices({{"new"}, {"one"}}); }};
}

template <ServerKind Kind, auto MakeBackend> SoundSystem serverSystem()
{
    const auto system = std::make_shared<PulseServer>(std::vector<PulseSink>{{"one"}, {"two"}}, Kind);
    return {system, MakeBackend, [server = system.get()] { server->removeSink("two"); }};
}

/// ALSA over a sound server, which keeps time; there need be no card.
SoundSystem alsaSystem()
{
    struct Running {
        PulseServer server{{{"kx1"}, {"kx2"}}};
        ScopedAlsaConfiguration configuration;
    };
    const auto running = std::make_shared<Running>();
    running->configuration.setDevices({{"one", "type pulse device kx1"}, {"two", "type pulse device kx2"}});
    return {running,
            [] {
                const std::string folder = std::filesystem::path(std::getenv("ALSA_CONFIG_PATH")).parent_path();
                return std::unique_ptr<HardwareBackend>(std::make_unique<kx::AlsaBackend>(
                    kx::AlsaLibrary::load() ? kx::AlsaChoice::All : kx::AlsaChoice::Cards,
                    std::vector<std::string>{folder}));
            },
            [running = running.get()] {
                running->configuration.setDevices({{"one", "type pulse device kx1"}});
            }};
}

using Kind = std::pair<const char *, SoundSystem (*)()>;

class BackendContract : public ::testing::TestWithParam<Kind>
{
protected:
    /// Not by its place: PipeWire has a dummy before it has others.
    [[nodiscard]] std::string uidOf(const char *name) const
    {
        for (const kx::DeviceInfo &device : backend->state().devices)
            if (device.uid.ends_with(name))
                return device.uid;
        throw std::runtime_error(std::string("no device ") + name);
    }
    std::unique_ptr<OutputStream> open(const char *name) { return *backend->openOutput(uidOf(name), kSlice); }

    SoundSystem system = GetParam().second();
    std::unique_ptr<HardwareBackend> backend = system.makeBackend();
};

constexpr Kind kKinds[] = {
    {"virtual", virtualSystem<kx::VirtualClock::RealTime>},
    {"flat_out", virtualSystem<kx::VirtualClock::FlatOut>},
    {"alsa", alsaSystem},
    {"pipewire", serverSystem<ServerKind::PipeWire, kx::makePipeWireBackend>},
    {"pulse", serverSystem<ServerKind::PulseAudio, kx::makePulseBackend>},
    {"pulse_of_pipewire", serverSystem<ServerKind::PipeWire, kx::makePulseBackend>},
};

INSTANTIATE_TEST_SUITE_P(Hardware, BackendContract, ::testing::ValuesIn(kKinds),
                         [](const auto &kind) { return std::string(kind.param.first); });

TEST_P(BackendContract, AsksForSlicesUntilItIsDrained)
{
    const auto stream = open("one");
    const std::vector<std::byte> slice(kSlice * stream->format().mBytesPerFrame);
    for (int i = 0; i < 20; ++i) {
        const auto room = stream->waitForRoom();
        ASSERT_TRUE(room && *room > 0 && *room <= kSlice);
        ASSERT_EQ(stream->write(slice.data(), *room), noErr);
    }
    EXPECT_EQ(stream->write(slice.data(), 0), noErr);
    const uint64_t underruns = stream->underruns();
    stream->drain();
    stream->drain(); // nothing is left
    EXPECT_GT(*stream->waitForRoom(), 0u) << "a drained stream goes on";
    EXPECT_EQ(stream->underruns(), underruns) << "the end of the data is no underrun";
}

TEST_P(BackendContract, AnInterruptionIsForGood)
{
    const auto stream = open("one");
    CountingWriter writer(*stream);
    stream->interrupt();
    EXPECT_EQ(writer.status(), noErr);
    EXPECT_EQ(*stream->waitForRoom(), 0u);
    const uint32_t frame = 0;
    EXPECT_EQ(stream->write(&frame, 1), noErr);
    stream->drain();
}

TEST_P(BackendContract, TellsOfADeviceThatGoesAndLosesItsStreamsOnly)
{
    kx::WakeSignal told;
    const std::string gone = uidOf("two");
    const auto isThere = [&, asked = backend.get()] { // asked to its end, when `backend` has let go of it
        return std::ranges::count(asked->state().devices, gone, &kx::DeviceInfo::uid) > 0;
    };
    backend->setChangeHandler([&] {
        isThere(); // it may ask
        told.raise();
    });
    const auto staying = open("one");
    const auto going = open("two");
    CountingWriter writer(*going);
    system.removeDeviceTwo();
    EXPECT_TRUE(told.waitUntil(std::chrono::steady_clock::now() + kHangDeadline, [&] { return !isThere(); }));
    EXPECT_EQ(writer.status(), kAudioHardwareBadDeviceError);
    const std::vector<std::byte> frame(going->format().mBytesPerFrame);
    EXPECT_EQ(going->write(frame.data(), 1), kAudioHardwareBadDeviceError);
    for (const std::string &uid : {gone, std::string(), std::string("no such device")})
        EXPECT_EQ(backend->openOutput(uid, kSlice).status(), kAudioHardwareBadDeviceError) << uid;
    EXPECT_GT(*staying->waitForRoom(), 0u);
    backend.reset(); // the streams may outlive it, and no change is told from here on
}

/// What the first device is called; "none" where there is none.
std::string firstDevice(const kx::HardwareService &service)
{
    const auto devices = devicesOf(service);
    return devices.empty() ? "none" : textOf(service, devices[0], kAudioDevicePropertyDeviceUID);
}

TEST(BackendTable, ChoosesWhatAnswersUnlessItIsToldAndFollowsAServerThatComesLater)
{
    const std::string virtualDevice = "virtual.1.Virtual Output";
    const std::string card = kx::makeAlsaCardsBackend()->state().defaultOutput; // where this machine has one
    const std::string without = card.empty() ? virtualDevice : card;
    PulseServer server;
    const std::tuple<const char *, std::string, std::string> cases[] = {{"", "kx1", without},
                                                                        {"pulse", "kx1", "none"},
                                                                        {"pipewire", "none", "none"},
                                                                        {"alsa", "default", "default"},
                                                                        {"virtual", virtualDevice, virtualDevice},
                                                                        {"no-such-system", "kx1", without}};
    std::vector<std::unique_ptr<kx::HardwareService>> services;
    for (const bool hasServer : {true, false}) {
        for (const auto &[name, withServer, withoutServer] : cases) {
            setenv("KXFW_AUDIO_BACKEND", name, 1);
            services.push_back(std::make_unique<kx::HardwareService>(kx::makeBackend()));
            EXPECT_EQ(firstDevice(*services.back()), hasServer ? withServer : withoutServer) << name;
        }
        if (hasServer)
            server.stop();
    }
    unsetenv("KXFW_AUDIO_BACKEND");
    server.start();
    for (std::size_t i = 0; i < services.size(); ++i) {
        TestListener devices(*services[i], kAudioObjectSystemObject, kAudioHardwarePropertyDevices);
        const std::string expected = std::get<1>(cases[i % std::size(cases)]);
        EXPECT_TRUE(devices.waitUntil([&] { return firstDevice(*services[i]) == expected; })) << i;
    }
}

TEST(BackendTable, PrefersPipeWireOnceThatHasADefaultDevice)
{
    PulseServer pipeWire({{"pw1"}}, ServerKind::PipeWire);
    pipeWire.killSessionManager(); // sinks without a default: streams to them would be linked to nothing
    const PulseServer pulse;
    kx::HardwareService service(kx::makeBackend());
    EXPECT_EQ(firstDevice(service), "kx1");
    TestListener devices(service, kAudioObjectSystemObject, kAudioHardwarePropertyDevices);
    pipeWire.kill();
    pipeWire.start();
    EXPECT_TRUE(devices.waitUntil([&] { return deviceOf(service, "pw1") != kAudioObjectUnknown; }));
    EXPECT_NE(deviceOf(kx::HardwareService(kx::makeBackend()), "pw1"), kAudioObjectUnknown) << "at once";
}

} // namespace
