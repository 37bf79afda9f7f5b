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
