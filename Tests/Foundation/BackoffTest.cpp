#include "KXFW/Platform/Foundation/Backoff.h"

#include <gtest/gtest.h>

TEST(Backoff, GrowsToItsLimitAndBeginsAnew)
{
    using namespace std::chrono_literals;
    kx::Backoff backoff(400ms, 700ms, 4);
    for (int round = 0; round < 2; ++round, backoff.reset())
        for (const auto expected : {400ms, 500ms, 625ms, 700ms, 700ms})
            EXPECT_EQ(backoff.next(), expected);
}
