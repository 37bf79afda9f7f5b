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
using kx::test::PipeMode;

template <class... Arguments> std::string format(std::string_view text, const Arguments &...arguments)
{
    const std::array<kx::LogArgument, sizeof...(Arguments)> values{kx::logArgument(arguments)...};
    return kx::formatted(text, values);
}

/// A random directive makes of `value` what the C library makes of it.
template <class Value> void expectAsInC(std::mt19937 &random, const std::string &conversions, Value value)
{
    std::string directive = "%";
    for (const char *flag : {"-", "+", " ", "0"})
        if (random() % 3 == 0)
            directive += flag;
    if (random() % 2)
        directive += std::to_string(1 + random() % 40);
    if (random() % 2)
        directive += "." + std::to_string(1 + random() % 20);
    directive += conversions[random() % conversions.size()];
    char expected[4096];
    std::snprintf(expected, sizeof expected, directive.c_str(), value);
    EXPECT_EQ(format(directive, value), expected) << directive << " of " << value;
}

TEST(LogFormat, NumbersLookLikeThoseOfTheCLibrary)
{
    std::mt19937 random(7); // NOLINT: the same numbers each time
    for (int round = 0; round < 20000 && !HasFailure(); ++round) {
        const uint32_t bits = static_cast<uint32_t>(random()) >> random() % 32;
        const auto number = static_cast<int>(random() % 2 ? bits : 0 - bits);
        expectAsInC(random, "di", number);
        expectAsInC(random, "uxX", bits);
        expectAsInC(random, "fge", std::ldexp(number, static_cast<int>(random() % 200) - 100));
    }
}

TEST(LogFormat, ExtremesArgumentsOfAnotherTypeAndWhatIsNoDirective)
{
    const double infinity = std::numeric_limits<double>::infinity();
    const char *none = nullptr;
    EXPECT_EQ(format("%ld %llu", std::numeric_limits<int64_t>::min(), ~0ull),
              "-9223372036854775808 18446744073709551615");
    EXPECT_EQ(format("%x %lx %08X", -1, int64_t{-1}, 0xbeefu), "ffffffff ffffffffffffffff 0000BEEF");
    EXPECT_EQ(format("%.999f", 1e308).size(), 309u + 1 + 999);
    EXPECT_EQ(format("%05f|%-5g|", infinity, -infinity), "  inf|-inf |");
    EXPECT_EQ(format("%d %u %f %s %u", 2.5, -1e300, 3, 17, -5), "2.5 -1e+300 3.000000 17 -5");
    EXPECT_EQ(format("%d %c %@ <%@> <%s>", "text", std::string_view("!?"), true, none, none),
              "text !? 1 <(null)> <(null)>");
    for (const char *text :
         {"%", "100 %", "%n", "%*d", "%.*f", "%1$s", "%1000d", "%.1000f", "%p", "%-", "%5", "%ll", "%hhhd"})
        EXPECT_EQ(format(text, 1, 2), text);
    EXPECT_EQ(format("%n %d and %s %%d", 5), "%n 5 and %s %d");
    EXPECT_EQ(format("%@", "%s %n %@"), "%s %n %@") << "an argument is never read as a format";
}

TEST(LogFormat, PrecisionNeverCutsACharacterInHalf)
{
    const std::string text = "a\u00e9\u20ac"; // 1, 2 and 3 bytes
    for (const auto &[precision, bytes] : {std::pair{0, 0U}, {2, 1U}, {3, 3U}, {5, 3U}, {6, 6U}, {9, 6U}})
        EXPECT_EQ(format("%." + std::to_string(precision) + "s", text), text.substr(0, bytes));
    EXPECT_EQ(format("%5s|%-5@|", "ab", "cd"), "   ab|cd   |");
}

TEST(NSLog, ALineHasTimeProcessAndMessageWhetherAnybodyReadsOrNot)
{
    const int kept = dup(STDERR_FILENO);
    close(STDERR_FILENO);
    errno = EDOM;
    NSLog("nobody reads this");
    EXPECT_EQ(errno, EDOM);
    dup2(kept, STDERR_FILENO);
    close(kept);
    CapturedLog log;
    // Not std::time: it reads a clock that is a tick late, and so in the last second still.
    using Clock = std::chrono::system_clock;
    const std::time_t before = Clock::to_time_t(Clock::now());
    NSLog("seek %@ to %lld", std::string("a%nb"), int64_t{1} << 40);
    const std::string line = log.text();
    tm local{};
    const char *const rest = strptime(line.c_str(), "%Y-%m-%d %H:%M:%S", &local);
    ASSERT_TRUE(rest && rest - line.c_str() == 19 && line.size() > 24 && rest[0] == '.' && rest[4] == ' ') << line;
    local.tm_isdst = -1;
    const std::time_t shown = std::mktime(&local);
    EXPECT_TRUE(shown >= before && shown <= Clock::to_time_t(Clock::now())) << line;
    EXPECT_EQ(line.substr(24), "test_Foundation[" + std::to_string(getpid()) + "] seek a%nb to 1099511627776\n");
}

/// Each line is one letter of its thread, over and over: from 16 bytes to far more than a pipe takes at once.
TEST(NSLog, LinesOfManyThreadsNeverMix)
{
    for (const auto mode : {PipeMode::Blocking, PipeMode::NonBlocking}) {
        CapturedLog log(mode);
        std::vector<std::jthread> threads;
        for (const char letter : {'a', 'b', 'c', 'd', 'e', 'f'})
            threads.emplace_back([letter] {
                for (int i = 0; i < 40; ++i)
                    NSLog("%@", std::string(std::size_t{1} << (4 + i % 14), letter));
            });
        threads.clear();
        const std::vector<std::string> messages = log.messages();
        EXPECT_EQ(messages.size(), 6U * 40);
        for (const std::string &message : messages) {
            ASSERT_EQ(message.find_first_not_of(message[0]), std::string::npos) << "mixed line";
            ASSERT_EQ(message.size() & (message.size() - 1), 0u) << "cut line of " << message.size();
        }
    }
}

} // namespace
