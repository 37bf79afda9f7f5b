#include "KXFW/Audio/KXRingBuffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

namespace
{

TEST(RingBuffer, EqualsAQueueOfBytesOverRandomTransfers)
{
    std::mt19937 random(20240611);
    for (const uint64_t size : {5U, 8U, 17U, 64U, 1000U}) {
        KXRingBuffer ring(size);
        std::string model;
        for (int step = 0; step < 3000; ++step) {
            SCOPED_TRACE(testing::Message() << "size " << size << " step " << step);
            const uint64_t length = random() % (size + 3);
            std::string bytes(length, '\0');
            std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(random()); });
            if (random() % 2 == 0) {
                const uint64_t room = ring.space();
                ASSERT_EQ(ring.write(bytes.data(), length), room > 0 ? length : 0) << "what was asked, unless full";
                model += bytes.substr(0, room);
            } else {
                const bool proceeds = random() % 3 != 0;
                const uint64_t got = ring.read(bytes.data(), length, proceeds);
                ASSERT_EQ(bytes.substr(0, got), model.substr(0, length));
                model.erase(0, proceeds ? got : 0);
            }
            ASSERT_EQ(ring.count(), model.size());
            ASSERT_EQ(ring.count() + ring.space(), size - 4);
            ASSERT_LT(ring.writePos(), size);
        }
        ring.clear();
        const std::string text = std::to_string(size);
        EXPECT_EQ(ring.description(), "sz: " + text + ", sp: " + std::to_string(size - 4) + ", c: 0, r: 0, w: 0");
    }
}

} // namespace
