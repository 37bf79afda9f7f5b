#include "KXFW/Platform/Hardware/Backends/CallbackStream.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"
#include "Tests/Hardware/CountingWriter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>

namespace
{

using namespace kx::test;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr uint32_t kCallbackSlice = 512;

/// Called by hand.
class HandStream final : public kx::CallbackStream
{
public:
    HandStream() : CallbackStream(kx::interleaved(44100, 2, 16, kAudioFormatFlagIsSignedInteger), kCallbackSlice) {}
    using CallbackStream::lose;

    /// What a callback gets that asks for `count` frames.
    std::vector<uint32_t> call(std::size_t count, Clock::time_point heardAt = {})
    {
        std::vector<uint32_t> frames(count, 0xdeadbeef);
        take(std::as_writable_bytes(std::span(frames)), heardAt);
        return frames;
    }
    void writeNext(uint32_t count)
    {
        ASSERT_EQ(write(numberedFrames(count, written_ + 1).data(), count), noErr);
        written_ += count;
    }
    void writeUpTo(uint32_t end)
    {
        while (written_ < end) {
            const auto room = waitForRoom();
            ASSERT_TRUE(room && *room > 0) << "no room up to " << end;
            writeNext(*room);
        }
    }

private:
    uint32_t written_ = 0;
};

TEST(CallbackStream, GivesEachFrameOnceWhateverTheCallbackAsksFor)
{
    for (const uint32_t portion : {1u, 100u, 512u, 1024u, 8192u}) {
        SCOPED_TRACE(portion);
        HandStream stream;
        EXPECT_EQ(stream.call(portion), std::vector<uint32_t>(portion, 0u)) << "before the first frame";
        for (uint32_t taken = 0; taken < 50 * portion; taken += portion) {
            ASSERT_NO_FATAL_FAILURE(stream.writeUpTo(taken + portion)) << "it starves";
            ASSERT_EQ(stream.call(portion), numberedFrames(portion, taken + 1));
        }
        EXPECT_EQ(stream.underruns(), 0u);
    }
}

TEST(CallbackStream, RunningDryIsOneGapAndTheEndIsNone)
{
    HandStream stream;
    stream.writeNext(1500);
    EXPECT_EQ(stream.call(1000), numberedFrames(1000));
    auto partly = numberedFrames(500, 1001);
    partly.resize(1000);
    EXPECT_EQ(stream.call(1000), partly);
    stream.writeNext(999);
    EXPECT_EQ(stream.call(1000), std::vector<uint32_t>(1000)) << "the gap would be two";
    EXPECT_EQ(stream.underruns(), 1u);
    auto drained = std::async(std::launch::async, [&] { stream.drain(); });
    while (drained.wait_for(0s) != std::future_status::ready)
        stream.call(1000);
    EXPECT_EQ(stream.heardFrames(), 2499u);
    EXPECT_EQ(stream.underruns(), 1u);
}

TEST(CallbackStream, TellsWhatIsHeardByTheTimeThatTheSystemTells)
{
    HandStream stream;
    stream.writeNext(2000);
    stream.call(1000, Clock::now() + 1h);
    EXPECT_EQ(stream.heardFrames(), 0u);
    EXPECT_EQ(stream.latencyFrames(), 2000u);
    stream.call(500, Clock::now() - 1h);
    EXPECT_EQ(stream.heardFrames(), 1500u) << "no more than was taken";
    stream.call(100, Clock::now() + 1h);
    EXPECT_EQ(stream.heardFrames(), 1500u) << "never less than before";
    stream.halt(); // no callback comes any more: it does not wait for long
    EXPECT_EQ(stream.call(100), std::vector<uint32_t>(100));
    EXPECT_EQ(stream.heardFrames(), 1600u) << "what was taken is on its way";
}

TEST(CallbackStream, AWriterAndACallbackAtOnceEndInAnyWay)
{
    for (const OSStatus end : {OSStatus{noErr}, OSStatus{kAudioHardwareBadDeviceError}}) {
        HandStream stream;
        std::vector<uint32_t> heard;
        std::atomic<uint64_t> calls = 0;
        std::jthread callback([&](const std::stop_token &stop) {
            while (!stop.stop_requested()) {
                const auto frames = stream.call(300, Clock::now());
                heard.insert(heard.end(), frames.begin(), frames.end());
                ++calls;
                std::this_thread::yield();
            }
        });
        CountingWriter writer(stream);
        while (stream.heardFrames() < 100'000)
            std::this_thread::yield();
        if (end == noErr)
            stream.interrupt();
        else
            stream.lose(end);
        EXPECT_EQ(writer.status(), end);
        stream.halt();
        callback.request_stop();
        callback.join();
        std::erase(heard, 0u); // silence
        EXPECT_EQ(heard, numberedFrames(heard.size()));
    }
}

} // namespace
