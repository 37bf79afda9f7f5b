#include "Tests/Hardware/CountingWriter.h"
#include "Tests/Hardware/HardwareTestKit.h"
#include "Tests/Support/ScopedVirtualHardware.h"

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <thread>

namespace
{

using namespace kx::test;
using kx::OutputStream;
using kx::VirtualClock;

constexpr uint32_t kStreamSlice = 512;

std::unique_ptr<kx::HardwareBackend> virtualBackend()
{
    return kx::makeVirtualBackend();
}

std::unique_ptr<OutputStream> openOn(kx::HardwareBackend &backend, std::size_t device = 0,
                                     uint32_t slice = kStreamSlice)
{
    auto stream = backend.openOutput(backend.state().devices.at(device).uid, slice);
    return stream ? std::move(*stream) : nullptr;
}

std::vector<uint32_t> framesOf(std::span<const std::byte> bytes)
{
    std::vector<uint32_t> frames(bytes.size() / 4);
    std::memcpy(frames.data(), bytes.data(), bytes.size());
    return frames;
}

TEST(VirtualStream, TheManualClockGivesWhatItSaysAndNoMore)
{
    ScopedVirtualHardware hardware(VirtualClock::Manual);
    std::vector<uint32_t> heard;
    hardware->setCapture([&](const std::string &device, std::span<const std::byte> bytes) {
        EXPECT_EQ(device, "Virtual Output");
        const auto frames = framesOf(bytes);
        EXPECT_LE(frames.size(), kStreamSlice);
        heard.insert(heard.end(), frames.begin(), frames.end());
    });
    const auto backend = virtualBackend();
    const auto stream = openOn(*backend);
    EXPECT_EQ(hardware->openStreams(), 1u);
    CountingWriter writer(*stream);
    uint32_t total = 0;
    for (const uint32_t frames : {1u, 511u, 512u, 0u, 513u, 3000u, 7u}) {
        EXPECT_EQ(hardware->advance(frames), frames);
        total += frames;
        EXPECT_EQ(heard.size(), total);
    }
    EXPECT_EQ(heard, numberedFrames(total));
    EXPECT_EQ(stream->underruns(), 0u);
    EXPECT_EQ(stream->latencyFrames(), 0u);
}

TEST(VirtualStream, AdvanceCountsAllStreamsAndPassesEndedOnes)
{
    ScopedVirtualHardware hardware(VirtualClock::Manual, {{"A"}, {"B"}});
    const auto backend = virtualBackend();
    const auto a = openOn(*backend, 0);
    const auto b = openOn(*backend, 1);
    auto idle = openOn(*backend, 1);
    idle->interrupt();
    CountingWriter writerA(*a);
    CountingWriter writerB(*b);
    EXPECT_EQ(hardware->advance(1000), 2000u);
    idle.reset();

    std::jthread later([&] { hardware->setDevices({{"A"}}); });
    const uint64_t taken = hardware->advance(1000000); // ends for B whenever its device goes
    EXPECT_TRUE(taken >= 1000000 && taken <= 2000000) << taken;
    EXPECT_EQ(writerB.status(), kAudioHardwareBadDeviceError);
}

TEST(VirtualStream, TheRealTimeClockNeverGivesMoreThanTimeHasPassed)
{
    ScopedVirtualHardware hardware(VirtualClock::RealTime);
    const auto backend = virtualBackend();
    const auto stream = openOn(*backend);
    const std::vector<uint32_t> slice(kStreamSlice);
    const auto start = std::chrono::steady_clock::now();
    uint64_t written = 0;
    while (written < 13230) {
        const auto room = stream->waitForRoom();
        ASSERT_TRUE(room && *room > 0);
        stream->write(slice.data(), *room);
        written += *room;
        const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start;
        ASSERT_LE(static_cast<double>(written), passed.count() * 44100 + kx::kMaximumSliceFrames);
        ASSERT_LE(stream->latencyFrames(), 4 * kStreamSlice);
    }
    const uint64_t underruns = stream->underruns();
    stream->drain();
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start;
    EXPECT_GE(passed.count(), static_cast<double>(written) / 44100) << "it was not heard to its end";
    EXPECT_EQ(stream->latencyFrames(), 0u);
    EXPECT_EQ(stream->underruns(), underruns) << "the end of the data is no underrun";
}

TEST(VirtualStream, NoCaptureRunsAfterItWasReplaced)
{
    ScopedVirtualHardware hardware(VirtualClock::FlatOut);
    const auto backend = virtualBackend();
    const auto stream = openOn(*backend);
    CountingWriter writer(*stream);
    for (int round = 0; round < 500; ++round) {
        auto counter = std::make_unique<int>(0); // plain and freed: a late call is seen by the sanitizers
        std::latch called(3);
        hardware->setCapture([&called, count = counter.get()](const std::string &, std::span<const std::byte>) {
            if (++*count <= 3)
                called.count_down();
        });
        called.wait();
        hardware->setCapture(nullptr);
    }
    std::latch replaced(1);
    hardware->setCapture([&](const std::string &, std::span<const std::byte>) {
        hardware->setCapture(nullptr); // from inside it waits for nobody
        replaced.count_down();
    });
    replaced.wait();
}

} // namespace
