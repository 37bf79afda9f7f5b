#include "KXFW/Platform/Foundation/NSLog.h"
#include "Tests/Support/CapturedLog.h"

#include <cerrno>
#include <chrono>
#include <cmath>
#include <ctime>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <thread>

namespace
{

using kx::test::CapturedLog;

template <class... Arguments> std::string format(std::string_view text, const Arguments &...arguments)
{
    const std::array<kx::LogArgument, sizeof...(Arguments)> values{kx::logArgument(arguments)...};
    return kx::formatted(text, values);
}

/// What the C library makes of the same directive.
template <class Value> std::string reference(const std::string &directive, Value value)
{
    char text[4096];
    std::snprintf(text, sizeof text, directive.c_str(), value);
    return text;
}

std::string randomDirective(std::mt19937 &random, const std::string &conversions)
{
    std::string directive = "%";
    for (const char *flag : {"-", "+", " ", "0"})
        if (random() % 3 == 0)
            directive += flag;
    if (random() % 2)
        directive += std::to_string(1 + random() % 40);
    if (random() % 2)
        directive += "." + std::to_string(1 + random() % 20);
    return directive + conversions[random() % conversions.size()];
}

TEST(LogFormat, NumbersLookLikeThoseOfTheCLibrary)
{
    std::mt19937 random(7); // NOLINT: the same numbers each time
    for (int round = 0; round < 20000 && !HasFailure(); ++round) {
        const uint32_t bits = static_cast<uint32_t>(random()) >> random() % 32;
        const auto number = static_cast<int>(random() % 2 ? bits : 0 - bits);
        const double real = std::ldexp(static_cast<double>(number), static_cast<int>(random() % 200) - 100);
        const std::string signedOne = randomDirective(random, "di");
        EXPECT_EQ(format(signedOne, number), reference(signedOne, number)) << signedOne << " of " << number;
        const std::string unsignedOne = randomDirective(random, "uxX");
        EXPECT_EQ(format(unsignedOne, bits), reference(unsignedOne, bits)) << unsignedOne << " of " << bits;
        const std::string realOne = randomDirective(random, "fge");
        EXPECT_EQ(format(realOne, real), reference(realOne, real)) << realOne << " of " << real;
    }
}

TEST(LogFormat, ExtremesAndArgumentsOfAnotherType)
{
    const auto lowest = std::numeric_limits<int64_t>::min();
    const double infinity = std::numeric_limits<double>::infinity();
    const char *none = nullptr;
    EXPECT_EQ(format("%ld %llu %zu", lowest, ~0ull, std::size_t{7}), "-9223372036854775808 18446744073709551615 7");
    EXPECT_EQ(format("%x %lx %08X", -1, int64_t{-1}, 0xbeefu), "ffffffff ffffffffffffffff 0000BEEF");
    EXPECT_EQ(format("%.999f", 1e308).size(), 309u + 1 + 999);
    EXPECT_EQ(format("%05f|%-5g|", infinity, -infinity), "  inf|-inf |");
    EXPECT_EQ(format("%d %u %x", 2.5, -1e300, 0.1), "2.5 -1e+300 0.1");
    EXPECT_EQ(format("%f %s %@ %u", 3, 17, -5, -5), "3.000000 17 -5 -5");
    EXPECT_EQ(format("%d %f %c", "text", std::string("more"), std::string_view("!?")), "text more !?");
    EXPECT_EQ(format("%@ %@ <%@> <%s>", true, 'A', none, none), "1 65 <(null)> <(null)>");
}

TEST(LogFormat, WhatIsNoDirectiveStaysAsText)
{
    for (const char *text :
         {"%", "100 %", "%n", "%*d", "%.*f", "%1$s", "%1000d", "%.1000f", "%p", "%-", "%5", "%ll", "%hhhd"})
        EXPECT_EQ(format(text, 1, 2), text);
    EXPECT_EQ(format("%d and %s %%d", 1), "1 and %s %d");
    EXPECT_EQ(format("%n %d", 5), "%n 5");           // takes no argument
    EXPECT_EQ(format("%@", "%s %n %@"), "%s %n %@"); // an argument is never read as a format
}

TEST(LogFormat, PrecisionNeverCutsACharacterInHalf)
{
    const std::string text = "a\u00e9\u20ac"; // 1, 2 and 3 bytes
    for (const auto &[precision, bytes] : {std::pair{0, 0}, {2, 1}, {3, 3}, {5, 3}, {6, 6}, {9, 6}})
        EXPECT_EQ(format("%." + std::to_string(precision) + "s", text),
                  text.substr(0, static_cast<std::size_t>(bytes)));
    EXPECT_EQ(format("%5s|%-5@|", "ab", "cd"), "   ab|cd   |");
}

TEST(NSLog, ALineHasTimeProcessAndMessageWhetherAnybodyReadsOrNot)
{
    const int kept = dup(STDERR_FILENO);
    close(STDERR_FILENO);
    NSLog("nobody reads this");
    dup2(kept, STDERR_FILENO);
    close(kept);
    CapturedLog log;
    errno = EDOM;
    // Not std::time: it reads a clock that is a tick late, and so in the last second still.
    using Clock = std::chrono::system_clock;
    const std::time_t before = Clock::to_time_t(Clock::now());
    NSLog("seek %@ to %lld", std::string("a%nb"), int64_t{1} << 40);
    EXPECT_EQ(errno, EDOM);
    const std::string line = log.text();
    tm local{};
    const char *const rest = strptime(line.c_str(), "%Y-%m-%d %H:%M:%S", &local);
    ASSERT_TRUE(rest && rest - line.c_str() == 19 && line.size() > 24 && rest[0] == '.' && rest[4] == ' ') << line;
    local.tm_isdst = -1;
    EXPECT_GE(std::mktime(&local), before) << line;
    EXPECT_LE(std::mktime(&local), Clock::to_time_t(Clock::now())) << line;
    EXPECT_EQ(line.substr(24), "test_Foundation[" + std::to_string(getpid()) + "] seek a%nb to 1099511627776\n");
}

constexpr int kLoggingThreads = 6;
constexpr int kLinesEach = 40;

/// Each line is one letter of its thread, over and over: from 16 bytes to far more than a pipe takes at once.
void logFromManyThreads()
{
    std::vector<std::thread> threads;
    for (int t = 0; t < kLoggingThreads; ++t)
        threads.emplace_back([t] {
            for (int i = 0; i < kLinesEach; ++i)
                NSLog("%@", std::string(std::size_t{1} << (4 + i % 14), static_cast<char>('a' + t)));
        });
    for (std::thread &thread : threads)
        thread.join();
}

TEST(NSLog, LinesOfManyThreadsNeverMix)
{
    for (const auto mode : {kx::test::PipeMode::Blocking, kx::test::PipeMode::NonBlocking}) {
        CapturedLog log(mode);
        logFromManyThreads();
        const std::vector<std::string> messages = log.messages();
        EXPECT_EQ(messages.size(), std::size_t{kLoggingThreads * kLinesEach});
        for (const std::string &message : messages) {
            ASSERT_EQ(message.find_first_not_of(message[0]), std::string::npos) << "mixed line";
            ASSERT_EQ(message.size() & (message.size() - 1), 0u) << "cut line of " << message.size();
        }
    }
}

} // namespace
