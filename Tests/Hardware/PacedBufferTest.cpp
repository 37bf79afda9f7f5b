#include "KXFW/Platform/Hardware/Backends/PacedBuffer.h"

#include <gtest/gtest.h>

#include <random>

namespace
{

using namespace std::chrono_literals;
using kx::PacedBuffer;

constexpr PacedBuffer::Time kStart{1000s};

TEST(PacedBuffer, StandsStillAfterRunningDryUntilTheNextWrite)
{
    PacedBuffer buffer(44100, 4410);
    buffer.write(4410, kStart);
    buffer.advanceTo(kStart + 5s);
    EXPECT_EQ(buffer.underruns(), 1u);
    buffer.advanceTo(kStart + 6s);
    EXPECT_EQ(buffer.underruns(), 1u);
    buffer.write(4410, kStart + 7s);
    EXPECT_EQ(buffer.heldFramesAt(kStart + 7s + 50ms), 2205u);
    buffer.finish();
    buffer.advanceTo(kStart + 60s);
    EXPECT_EQ(buffer.underruns(), 1u) << "the end of the data is no underrun";
}

TEST(PacedBuffer, PromisedRoomIsThereAtThePromisedTime)
{
    std::mt19937 random(20); // NOLINT: the same each time
    for (int round = 0; round < 2000; ++round) {
        const double rate = std::uniform_int_distribution(1000, 768000)(random);
        const auto slice = std::uniform_int_distribution<uint32_t>(1, 5000)(random);
        PacedBuffer buffer(rate, 4 * slice);
        auto now = kStart;
        uint64_t written = 0;
        for (int block = 0; block < 50; ++block) {
            SCOPED_TRACE(testing::Message() << "rate " << rate << " slice " << slice << " block " << block);
            now = std::max(now, buffer.timeOfRoom(slice));
            buffer.advanceTo(now);
            ASSERT_GE(buffer.roomFrames(), slice);
            ASSERT_LE(buffer.roomFrames(), block < 4 ? 4 * slice : slice + 1) << "woken too late";
            buffer.write(slice, now);
            written += slice;
        }
        ASSERT_EQ(buffer.underruns(), 0u);
        const double seconds = std::chrono::duration<double>(buffer.timeOfEnd() - kStart).count();
        ASSERT_NEAR(seconds, static_cast<double>(written) / rate, 1e-6);
    }
}

TEST(PacedBuffer, DoesNotDriftInADay)
{
    PacedBuffer buffer(44100, 8820);
    auto now = kStart;
    uint64_t written = 0;
    while (now < kStart + 24h) {
        now = std::max(now, buffer.timeOfRoom(4410));
        buffer.write(4410, now);
        written += 4410;
    }
    EXPECT_EQ(buffer.underruns(), 0u);
    EXPECT_NEAR(static_cast<double>(written), 24 * 3600 * 44100.0, 8821);
}

} // namespace
