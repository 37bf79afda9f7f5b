#include "KXFW/Platform/Foundation/StreamFormat.h"
#include "KXFW/Platform/Hardware/HardwareBackend.h"
#include "Tests/Hardware/CountingWriter.h"
#include "Tests/Support/Eventually.h"
#include "Tests/Support/MonitorRecorder.h"
#include "Tests/Support/PulseServer.h"
#include "Tests/Support/ScopedAlsaConfiguration.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace
{

using namespace kx::test;

/// Frames in 16 bits as a stream in 32 bits takes them.
std::vector<int32_t> widened(const std::vector<uint32_t> &frames)
{
    std::vector<int32_t> samples;
    for (const uint32_t frame : frames)
        for (const uint32_t half : {frame & 0xffff, frame >> 16})
            samples.push_back(static_cast<int32_t>(half << 16));
    return samples;
}

/// Frame numbers from `first` on, as the device asks for them.
void play(kx::OutputStream &stream, uint32_t first, uint32_t count)
{
    for (uint32_t written = 0; written < count;) {
        const auto room = stream.waitForRoom();
        ASSERT_TRUE(room && *room > 0);
        const uint32_t frames = std::min(*room, count - written);
        ASSERT_EQ(stream.write(widened(numberedFrames(frames, first + written)).data(), frames), noErr);
        written += frames;
    }
}

TEST(AlsaBackend, IsHeardBitForBitAndGoesOnAfterItRanDry)
{
    const PulseServer server;
    const ScopedAlsaConfiguration configuration;
    configuration.setDevices({{"one", "type pulse device kx1 handle_underrun 1"}});
    const MonitorRecorder recorder("kx1");
    const auto heard = [](const std::vector<int16_t> &samples) {
        auto frames = frameNumbers(samples);
        std::erase(frames, 0u); // silence
        return frames;
    };
    const auto hasHeard = [&](std::size_t count) {
        return recorder.waitUntil([&](const auto &samples) { return heard(samples).size() == count; });
    };
    const auto backend = kx::makeAlsaBackend();
    const auto stream = *backend->openOutput("one", 512);
    ASSERT_TRUE(kx::sameFormat(stream->format(), kx::interleaved(44100, 2, 32, kAudioFormatFlagIsSignedInteger)));

    play(*stream, 1, 22050);
    EXPECT_TRUE(hasHeard(22050));
    EXPECT_EQ(heard(recorder.samples()), numberedFrames(22050));
    EXPECT_TRUE(eventually([&] { return *stream->waitForRoom() > 0 && stream->underruns() == 1; })) << "it ran dry";
    play(*stream, 22051, 22050);
    stream->drain();
    EXPECT_EQ(stream->heardFrames(), 44100u);
    EXPECT_EQ(stream->latencyFrames(), 0u);
    EXPECT_EQ(stream->underruns(), 1u) << "the end of the data is no underrun";
    EXPECT_TRUE(hasHeard(44100));
    EXPECT_EQ(heard(recorder.samples()), numberedFrames(44100));
}

} // namespace
