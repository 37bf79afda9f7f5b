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

TEST(PacedBuffer, PromisedRoomIsThereAtThePromisedTimeAndNothingDrifts)
{
    std::mt19937 random(20); // NOLINT: the same each time
    for (int round = 0; round < 2000; ++round) {
        const double rate = std::uniform_int_distribution(1000, 768000)(random);
        const auto slice = std::uniform_int_distribution<uint32_t>(1, 5000)(random);
        SCOPED_TRACE(testing::Message() << "rate " << rate << " slice " << slice);
        PacedBuffer buffer(rate, 4 * slice);
        auto now = kStart;
        const int blocks = round == 0 ? 1'000'000 : 50; // once for long
        for (int block = 0; block < blocks; ++block) {
            now = std::max(now, buffer.timeOfRoom(slice));
            buffer.advanceTo(now);
            ASSERT_GE(buffer.roomFrames(), slice);
            ASSERT_LE(buffer.roomFrames(), block < 4 ? 4 * slice : slice + 1) << "woken too late: block " << block;
            buffer.write(slice, now);
        }
        ASSERT_EQ(buffer.underruns(), 0u);
        const double seconds = std::chrono::duration<double>(buffer.timeOfEnd() - kStart).count();
        ASSERT_NEAR(seconds, blocks * static_cast<double>(slice) / rate, 1e-6);
    }
}

} // namespace
