#include "KXFW/Platform/Foundation/Guarded.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <thread>

namespace kx::test
{
namespace
{

TEST(Guarded, GivesPlainValuesWholeWhileTwoThreadsReplaceThem)
{
    using Words = std::array<uint64_t, 8>;
    const auto filled = [](uint64_t number) {
        Words words;
        words.fill(number);
        return words;
    };
    Guarded<Words> guarded;
    std::atomic<int> running = 2;
    const auto replace = [&](uint64_t from) {
        for (uint64_t i = 0; i < 200000; ++i)
            guarded.set(filled(from + i));
        --running;
    };
    const std::jthread one(replace, 0);
    const std::jthread other(replace, 1000000);
    while (running > 0) {
        const Words words = guarded.get();
        ASSERT_EQ(words, filled(words[0]));
    }
}

} // namespace
} // namespace kx::test
