#include "Tests/Hardware/CountingWriter.h"
#include "Tests/Hardware/HardwareTestKit.h"
#include "Tests/Support/ScopedVirtualHardware.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace
{

using namespace kx::test;
using kx::OutputStream;
using kx::VirtualClock;

constexpr uint32_t kStreamSlice = 512;

std::unique_ptr<OutputStream> openOn(const std::string &device = "Virtual Output")
{
    const auto backend = kx::makeVirtualBackend(); // the stream outlives it
    for (const kx::DeviceInfo &each : backend->state().devices)
        if (each.name == device)
            return *backend->openOutput(each.uid, kStreamSlice);
    return nullptr;
}

TEST(VirtualStream, TheManualClockGivesWhatItSaysToEachStreamAndNoMore)
{
    ScopedVirtualHardware hardware(VirtualClock::Manual, {{"A"}, {"B"}});
    std::vector<uint32_t> heard;
    hardware->setCapture([&](const std::string &device, std::span<const std::byte> bytes) {
        EXPECT_LE(bytes.size(), 4 * kStreamSlice);
        const auto *frames = reinterpret_cast<const uint32_t *>(bytes.data());
        if (device == "A")
            heard.insert(heard.end(), frames, frames + bytes.size() / 4);
    });
    const auto a = openOn("A");
    const auto b = openOn("B");
    auto idle = openOn("B");
    idle->interrupt();
    CountingWriter writerA(*a);
    CountingWriter writerB(*b);
    uint32_t total = 0;
    for (const uint32_t frames : {1u, 511u, 512u, 0u, 513u, 3000u, 7u}) {
        EXPECT_EQ(hardware->advance(frames), 2 * frames);
        total += frames;
        EXPECT_EQ(heard.size(), total);
    }
    EXPECT_EQ(heard, numberedFrames(total));
    EXPECT_EQ(a->underruns() + a->latencyFrames(), 0u);

    std::jthread later([&] { hardware->setDevices({{"A"}}); });
    const uint64_t taken = hardware->advance(1000000); // ends for B whenever its device goes
    EXPECT_TRUE(taken >= 1000000 && taken <= 2000000) << taken;
    EXPECT_EQ(writerB.status(), kAudioHardwareBadDeviceError);
}

TEST(VirtualStream, TheRealTimeClockNeverGivesMoreThanTimeHasPassed)
{
    ScopedVirtualHardware hardware(VirtualClock::RealTime);
    const auto stream = openOn();
    const std::vector<uint32_t> slice(kStreamSlice);
    const auto start = std::chrono::steady_clock::now();
    const auto passed = [&] { // frames
        return 44100 * std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    uint32_t written = 0;
    while (written < 13230) {
        const auto room = stream->waitForRoom();
        ASSERT_TRUE(room && *room > 0);
        stream->write(slice.data(), *room);
        written += *room;
        ASSERT_LE(written, passed() + kx::kMaximumSliceFrames);
        ASSERT_LE(stream->latencyFrames(), 4 * kStreamSlice);
    }
    stream->drain();
    EXPECT_GE(passed(), written) << "it was not heard to its end";
    EXPECT_EQ(stream->latencyFrames(), 0u);
}

TEST(VirtualStream, NoCaptureRunsAfterItWasReplaced)
{
    ScopedVirtualHardware hardware(VirtualClock::FlatOut);
    const auto stream = openOn();
    CountingWriter writer(*stream);
    for (int round = 0; round < 500; ++round) {
        Handshake called;
        const auto replaced = std::make_shared<std::atomic<bool>>(false);
        hardware->setCapture([&called, replaced](const std::string &, std::span<const std::byte>) {
            std::this_thread::yield(); // it is running when it is replaced
            if (!*replaced)
                called.announce();
            EXPECT_FALSE(*replaced);
        });
        ASSERT_TRUE(called.await(3));
        hardware->setCapture(nullptr);
        *replaced = true;
    }
    Handshake replaced;
    hardware->setCapture([&](const std::string &, std::span<const std::byte>) {
        hardware->setCapture(nullptr); // from inside it waits for nobody
        replaced.announce();
    });
    EXPECT_TRUE(replaced.await());
}

} // namespace
