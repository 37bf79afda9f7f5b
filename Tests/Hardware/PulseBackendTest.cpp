#include "KXFW/Platform/Foundation/StreamFormat.h"
#include "Tests/Hardware/CountingWriter.h"
#include "Tests/Hardware/HardwareTestKit.h"
#include "Tests/Support/MonitorRecorder.h"
#include "Tests/Support/PulseServer.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace
{

using namespace kx::test;
using kx::HardwareService;
using kx::OutputStream;

constexpr uint32_t kSecond = 44100;

std::unique_ptr<kx::HardwareBackend> pulseBackend()
{
    auto backend = kx::makePulseBackend();
    if (backend->state().devices.empty())
        throw std::runtime_error("no answer from the server");
    return backend;
}

std::unique_ptr<OutputStream> openOn(HardwareService &service, const std::string &uid)
{
    auto stream = service.openOutputStream(deviceOf(service, uid));
    if (!stream)
        throw std::runtime_error("no stream to " + uid);
    return std::move(*stream);
}

bool hasHeard(const MonitorRecorder &recorder, uint32_t frame)
{
    return recorder.waitUntil(
        [&](const std::vector<int16_t> &samples) { return std::ranges::count(frameNumbers(samples), frame) > 0; });
}

TEST(PulseBackend, DescribesTheServersDevices)
{
    std::string longName = "xx";
    for (int i = 0; i < 100; ++i)
        longName += "ü €"; // 6 bytes each
    PulseServer server({{"kx1"},
                        {.name = "float", .rate = 48000, .channels = 6, .format = "float32be"},
                        {.name = "odd", .rate = 96000, .format = "s24-32le", .description = "%s %n"},
                        {.name = "long", .format = "u8", .description = longName}});
    server.control({"load-module", "module-null-source", "source_name=mic"});
    server.control({"set-default-source", "mic"});
    HardwareService service(pulseBackend());
    EXPECT_EQ(devicesOf(service).size(), 5u);
    EXPECT_EQ(defaultOutput(service), deviceOf(service, "kx1"));
    const auto input =
        propertyOf<AudioObjectID>(service, kAudioObjectSystemObject, kAudioHardwarePropertyDefaultInputDevice);
    EXPECT_EQ(input, deviceOf(service, "mic"));
    EXPECT_EQ(service.openOutputStream(input).status(), kAudioHardwareBadDeviceError);
    EXPECT_EQ(deviceOf(service, "%s %n", kAudioDevicePropertyDeviceName), deviceOf(service, "odd"));
    EXPECT_EQ(textOf(service, deviceOf(service, "long"), kAudioDevicePropertyDeviceName), longName.substr(0, 254));

    constexpr uint32_t kFloat = kAudioFormatFlagIsFloat;
    const std::pair<const char *, AudioStreamBasicDescription> formats[] = {
        {"kx1", kx::interleaved(44100, 2, 16, kAudioFormatFlagIsSignedInteger)},
        {"float", kx::interleaved(48000, 6, 32, kFloat | kAudioFormatFlagIsBigEndian)},
        {"odd", kx::interleaved(96000, 2, 32, kFloat)},
        {"long", kx::interleaved(44100, 2, 8, 0)}};
    for (const auto &[uid, format] : formats) {
        EXPECT_TRUE(kx::sameFormat(
            propertyOf<AudioStreamBasicDescription>(service, deviceOf(service, uid), kAudioDevicePropertyStreamFormat),
            format))
            << uid;
        EXPECT_GT(*openOn(service, uid)->waitForRoom(), 0u) << uid;
    }
}

TEST(PulseBackend, ACrowdOfClientsFindsTheServer)
{
    PulseServer server;
    std::vector<std::future<bool>> clients;
    for (int i = 0; i < 70; ++i) // more than the server lets wait at its door
        clients.push_back(
            std::async(std::launch::async, [] { return !kx::makePulseBackend()->state().devices.empty(); }));
    for (auto &client : clients)
        EXPECT_TRUE(client.get());
}

TEST(PulseBackend, TellsWhatChangesUpToTheLastOfABurst)
{
    PulseServer server({{"kx1"}, {"kx2"}});
    HardwareService service(pulseBackend());
    const AudioObjectID kx2 = deviceOf(service, "kx2");
    TestListener devices(service, kAudioObjectSystemObject, kAudioHardwarePropertyDevices);
    TestListener output(service, kAudioObjectSystemObject, kAudioHardwarePropertyDefaultOutputDevice);

    for (int i = 0; i < 99; ++i)
        server.setDefaultSink(i % 2 == 0 ? "kx2" : "kx1");
    server.setDefaultSink("kx2");
    EXPECT_TRUE(output.waitUntil([&] { return defaultOutput(service) == kx2; }));
    EXPECT_EQ(devices.calls(), 0);
    server.addSink({"kx3"});
    EXPECT_TRUE(devices.waitUntil([&] { return deviceOf(service, "kx3") != kAudioObjectUnknown; }));
    server.removeSink("kx2");
    EXPECT_TRUE(devices.waitUntil([&] { return deviceOf(service, "kx2") == kAudioObjectUnknown; }));
    EXPECT_TRUE(output.waitUntil([&] { return defaultOutput(service) != kx2; }));
    EXPECT_NE(defaultOutput(service), kAudioObjectUnknown);
    server.removeSink("kx1");
    server.removeSink("kx3");
    EXPECT_TRUE(output.waitUntil([&] { return defaultOutput(service) == kAudioObjectUnknown; }));
    EXPECT_TRUE(devices.waitUntil([&] { return devicesOf(service).empty(); }));
    server.addSink({"kx2"});
    EXPECT_TRUE(output.waitUntil([&] { return defaultOutput(service) != kAudioObjectUnknown; }));
    EXPECT_EQ(defaultOutput(service), deviceOf(service, "kx2"));
    EXPECT_NE(deviceOf(service, "kx2"), kx2) << "a number that was given twice";
}

TEST(PulseBackend, DevicesGoAndComeBackWithTheServer)
{
    PulseServer server;
    server.stop();
    HardwareService service(kx::makePulseBackend());
    EXPECT_TRUE(devicesOf(service).empty());
    TestListener devices(service, kAudioObjectSystemObject, kAudioHardwarePropertyDevices);
    for (int round = 0; round < 2; ++round) {
        SCOPED_TRACE(round);
        server.start();
        ASSERT_TRUE(devices.waitUntil([&] { return defaultOutput(service) != kAudioObjectUnknown; }));
        const AudioObjectID device = deviceOf(service, "kx1");
        EXPECT_EQ(defaultOutput(service), device);
        const auto stream = openOn(service, "kx1");
        CountingWriter writer(*stream);
        server.kill();
        EXPECT_EQ(writer.status(), kAudioHardwareNotRunningError);
        EXPECT_TRUE(devices.waitUntil([&] { return devicesOf(service).empty(); }));
        EXPECT_EQ(defaultOutput(service), kAudioObjectUnknown);
        EXPECT_EQ(service.openOutputStream(device).status(), kAudioHardwareBadDeviceError);
    }
}

TEST(PulseBackend, AServerThatHangsHoldsNobodyUp)
{
    PulseServer server;
    HardwareService service(pulseBackend());
    auto stream = openOn(service, "kx1");
    auto unused = openOn(service, "kx1");
    const auto begin = std::chrono::steady_clock::now();
    auto writer = std::make_unique<CountingWriter>(*stream);
    server.freeze();
    EXPECT_EQ(writer->status(), noErr) << "no room within a second is no loss";
    EXPECT_EQ(devicesOf(service).size(), 1u);
    EXPECT_EQ(service.openOutputStream(deviceOf(service, "kx1")).status(), kAudioHardwareNotRunningError);
    EXPECT_TRUE(kx::makePulseBackend()->state().devices.empty());
    stream->drain();
    writer.reset();
    stream.reset();
    unused.reset();
    // The library itself would wait for 30 seconds; each of ours for one.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
    server.thaw();
    MonitorRecorder recorder("kx1");
    stream = openOn(service, "kx1");
    CountingWriter again(*stream, kSecond / 10);
    EXPECT_TRUE(hasHeard(recorder, kSecond / 10));
}

TEST(PulseBackend, ASuspendedSinkIsAPauseAndNoLoss)
{
    PulseServer server;
    HardwareService service(pulseBackend());
    const MonitorRecorder recorder("kx1");
    const auto stream = openOn(service, "kx1");
    constexpr uint32_t kFrames = kSecond / 2;
    uint32_t written = 0;
    const auto write = [&](uint32_t end) { // false when there was no room for a second
        const uint32_t frames = std::min(*stream->waitForRoom(), end - written);
        EXPECT_EQ(stream->write(numberedFrames(frames, written + 1).data(), frames), noErr);
        written += frames;
        return frames > 0;
    };
    while (write(kFrames / 2))
        continue;
    server.control({"suspend-sink", "kx1", "1"});
    while (write(kFrames))
        continue;
    EXPECT_LT(written, kFrames);
    server.control({"suspend-sink", "kx1", "0"});
    while (written < kFrames)
        write(kFrames);
    stream->drain();
    ASSERT_TRUE(hasHeard(recorder, kFrames));
    auto heard = frameNumbers(recorder.samples());
    std::erase(heard, 0U); // silence
    EXPECT_TRUE(std::ranges::is_sorted(heard, std::less_equal())) << "out of order, or twice";
    // The server's monitor wakes after its sink: the block that the sink takes first is played but not recorded.
    EXPECT_GE(heard.size() + kx::kDefaultDeviceBufferBytes / 4, kFrames);
    EXPECT_EQ(stream->underruns(), 0u) << "a pause is no underrun";
}

} // namespace
