#include "KXFW/Audio/KXRingBuffer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <deque>
#include <random>
#include <string>
#include <vector>

namespace
{

TEST(RingBuffer, StartsEmptyWithFourBytesKeptFree)
{
    const KXRingBuffer ring(16777216);
    EXPECT_EQ(ring.count(), 0U);
    EXPECT_EQ(ring.space(), 16777212U);
    EXPECT_EQ(ring.description(), "sz: 16777216, sp: 16777212, c: 0, r: 0, w: 0");
}

TEST(RingBuffer, CutsAWriteToItsRoomButReportsWhatWasAsked)
{
    KXRingBuffer ring(16);
    EXPECT_EQ(ring.write("abcdef", 6), 6U);
    EXPECT_EQ(ring.write("0123456789", 10), 10U) << "12 bytes of room, 6 taken: 6 are stored";
    EXPECT_EQ(ring.space(), 0U);
    EXPECT_EQ(ring.count(), 12U);
    EXPECT_EQ(ring.write("x", 1), 0U) << "full";
    std::string out(12, '-');
    EXPECT_EQ(ring.read(out.data(), 100, true), 12U);
    EXPECT_EQ(out, "abcdef012345");
    EXPECT_EQ(ring.read(out.data(), 1, true), 0U) << "empty";
    EXPECT_EQ(out, "abcdef012345") << "a read from an empty ring touches nothing";
}

TEST(RingBuffer, WrapsToPositionZeroWhenAWriteEndsOnTheEndOfTheStorage)
{
    KXRingBuffer ring(16);
    char out[16];
    ring.write("abcdefgh", 8);
    ring.read(out, 8, true);
    ring.write("ijklmnop", 8);
    EXPECT_EQ(ring.writePos(), 0U);
    EXPECT_EQ(ring.read(out, 8, false), 8U);
    EXPECT_EQ(std::string(out, 8), "ijklmnop");
    EXPECT_EQ(ring.count(), 8U) << "a peek leaves the bytes";
    ring.clear();
    EXPECT_EQ(ring.count(), 0U);
    EXPECT_EQ(ring.space(), 12U);
}

TEST(RingBuffer, EqualsAQueueOfBytesOverRandomTransfers)
{
    std::mt19937 random(20240611);
    for (const uint64_t size : {5U, 8U, 17U, 64U, 1000U}) {
        KXRingBuffer ring(size);
        std::deque<char> model;
        for (int step = 0; step < 3000; ++step) {
            const uint64_t length = random() % (size + 3);
            std::string bytes(length, '\0');
            for (char &byte : bytes)
                byte = static_cast<char>(random());
            if (random() % 2 == 0) {
                const uint64_t room = ring.space();
                ring.write(bytes.data(), length);
                model.insert(model.end(), bytes.begin(), bytes.begin() + static_cast<long>(std::min(room, length)));
            } else {
                const bool proceeds = random() % 3 != 0;
                const uint64_t got = ring.read(bytes.data(), length, proceeds);
                ASSERT_EQ(got, std::min<uint64_t>(length, model.size())) << "size " << size << " step " << step;
                ASSERT_TRUE(std::equal(bytes.begin(), bytes.begin() + static_cast<long>(got), model.begin()));
                if (proceeds)
                    model.erase(model.begin(), model.begin() + static_cast<long>(got));
            }
            ASSERT_EQ(ring.count(), model.size()) << "size " << size << " step " << step;
            ASSERT_EQ(ring.count() + ring.space(), size - 4);
            ASSERT_LT(ring.writePos(), size);
        }
    }
}

} // namespace
