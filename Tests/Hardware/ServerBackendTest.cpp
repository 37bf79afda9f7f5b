/// @file
/// What the backends of sound servers do when devices and servers come, go and hang.
#include "Tests/Hardware/CountingWriter.h"
#include "Tests/Hardware/HardwareTestKit.h"
#include "Tests/Support/Eventually.h"
#include "Tests/Support/PulseServer.h"

#include <gtest/gtest.h>

namespace
{

using namespace kx::test;
using kx::HardwareService;

struct ServerKit {
    const char *name;
    ServerKind kind;
    std::unique_ptr<kx::HardwareBackend> (*make)();
};

class ServerBackend : public ::testing::TestWithParam<ServerKit>
{
protected:
    static std::unique_ptr<kx::HardwareBackend> backend() { return GetParam().make(); }
};

constexpr ServerKit kServerKits[] = {
    {"pipewire", ServerKind::PipeWire, kx::makePipeWireBackend},
    {"pulse", ServerKind::PulseAudio, kx::makePulseBackend},
};

INSTANTIATE_TEST_SUITE_P(Hardware, ServerBackend, ::testing::ValuesIn(kServerKits),
                         [](const auto &kit) { return std::string(kit.param.name); });

TEST_P(ServerBackend, TellsWhatChangesUpToTheLastOfABurst)
{
    PulseServer server({{"kx1"}, {"kx2"}}, GetParam().kind);
    HardwareService service(backend());
    const AudioObjectID kx2 = deviceOf(service, "kx2");
    TestListener devices(service, kAudioObjectSystemObject, kAudioHardwarePropertyDevices);
    TestListener output(service, kAudioObjectSystemObject, kAudioHardwarePropertyDefaultOutputDevice);

    for (int i = 0; i < 99; ++i)
        server.setDefaultSink(i % 2 == 0 ? "kx2" : "kx1");
    server.setDefaultSink("kx2");
    EXPECT_TRUE(output.waitUntil([&] { return defaultOutput(service) == kx2; }));
    const bool hasDummy = GetParam().kind == ServerKind::PipeWire; // it makes one where there is nothing else
    EXPECT_TRUE(hasDummy || devices.calls() == 0);
    server.addSink({"kx3"});
    EXPECT_TRUE(devices.waitUntil([&] { return deviceOf(service, "kx3") != kAudioObjectUnknown; }));
    server.removeSink("kx2");
    EXPECT_TRUE(devices.waitUntil([&] { return deviceOf(service, "kx2") == kAudioObjectUnknown; }));
    EXPECT_TRUE(output.waitUntil([&] { return defaultOutput(service) != kx2; }));
    const auto hasDefault = [&] { return defaultOutput(service) != kAudioObjectUnknown; };
    EXPECT_TRUE(hasDummy ? output.waitUntil(hasDefault) : hasDefault()); // its session manager takes a moment
    server.removeSink("kx1");
    server.removeSink("kx3");
    EXPECT_TRUE(output.waitUntil([&] { return defaultOutput(service) == deviceOf(service, "auto_null"); }));
    EXPECT_TRUE(devices.waitUntil([&] { return devicesOf(service).size() == std::size_t{hasDummy}; }));
    server.addSink({"kx2"});
    const auto hasReturned = [&] { return deviceOf(service, "kx2") != kAudioObjectUnknown; };
    EXPECT_TRUE(output.waitUntil([&] { return hasReturned() && defaultOutput(service) == deviceOf(service, "kx2"); }));
    EXPECT_NE(deviceOf(service, "kx2"), kx2) << "a number that was given twice";
}

TEST_P(ServerBackend, DevicesGoAndComeBackWithTheServer)
{
    PulseServer server({{"kx1"}}, GetParam().kind);
    server.stop();
    HardwareService service(backend());
    EXPECT_TRUE(devicesOf(service).empty());
    TestListener devices(service, kAudioObjectSystemObject, kAudioHardwarePropertyDevices);
    TestListener output(service, kAudioObjectSystemObject, kAudioHardwarePropertyDefaultOutputDevice);
    for (int round = 0; round < 2; ++round) {
        SCOPED_TRACE(round);
        server.start();
        AudioObjectID device = kAudioObjectUnknown;
        ASSERT_TRUE(output.waitUntil([&] {
            device = deviceOf(service, "kx1");
            return device != kAudioObjectUnknown && defaultOutput(service) == device;
        }));
        const auto stream = openOn(service, "kx1");
        CountingWriter writer(*stream);
        server.kill();
        EXPECT_EQ(writer.status(), kAudioHardwareNotRunningError);
        EXPECT_TRUE(devices.waitUntil([&] { return devicesOf(service).empty(); }));
        EXPECT_EQ(defaultOutput(service), kAudioObjectUnknown);
        EXPECT_EQ(service.openOutputStream(device).status(), kAudioHardwareBadDeviceError);
    }
}

TEST_P(ServerBackend, AServerThatHangsHoldsNobodyUp)
{
    PulseServer server({{"kx1"}}, GetParam().kind);
    HardwareService service(backend());
    auto stream = openOn(service, "kx1");
    auto unused = openOn(service, "kx1");
    const auto begin = std::chrono::steady_clock::now();
    auto writer = std::make_unique<CountingWriter>(*stream);
    server.freeze();
    EXPECT_EQ(writer->status(), noErr) << "no room within a second is no loss";
    EXPECT_EQ(devicesOf(service).size(), 1u);
    EXPECT_EQ(service.openOutputStream(deviceOf(service, "kx1")).status(), kAudioHardwareNotRunningError);
    EXPECT_TRUE(backend()->state().devices.empty());
    stream->drain();
    writer.reset();
    stream.reset();
    unused.reset();
    // The library itself would wait for 30 seconds; each of ours for one.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
    server.thaw();
    stream = openOn(service, "kx1");
    constexpr uint32_t kFrames = 4410;
    CountingWriter again(*stream, kFrames);
    EXPECT_TRUE(eventually([&] { return stream->heardFrames() > kFrames / 2; }));
}

} // namespace
