#include "KXFW/Audio/KXRingBuffer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <deque>
#include <random>
#include <string>
#include <vector>

namespace
{

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
                ASSERT_EQ(ring.write(bytes.data(), length), room > 0 ? length : 0) << "what was asked, unless full";
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
        ring.clear();
        EXPECT_EQ(ring.description(),
                  "sz: " + std::to_string(size) + ", sp: " + std::to_string(size - 4) + ", c: 0, r: 0, w: 0");
    }
}

} // namespace
