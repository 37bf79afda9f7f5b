#include "KXFW/Platform/Foundation/Backoff.h"

#include <gtest/gtest.h>

namespace
{

using namespace std::chrono_literals;

TEST(Backoff, GrowsToItsLimitAndBeginsAnew)
{
    kx::Backoff doubling(500ms, 5000ms, 1);
    for (int round = 0; round < 2; ++round) {
        for (const auto expected : {500ms, 1000ms, 2000ms, 4000ms, 5000ms, 5000ms})
            EXPECT_EQ(doubling.next(), expected);
        doubling.reset();
    }
    kx::Backoff slow(400ms, 700ms, 4);
    for (const auto expected : {400ms, 500ms, 625ms, 700ms})
        EXPECT_EQ(slow.next(), expected);
}

} // namespace
