#include "KXFW/Platform/Foundation/NSLog.h"
#include "Tests/Support/CapturedLog.h"

#include <bit>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>
#include <limits>
#include <map>
#include <random>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <utility>

namespace
{

using kx::test::CapturedLog;

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
    EXPECT_EQ(format("%d %c%c %@ <%@> <%s>", "text", std::string_view("!?"), 65, true, none, none),
              "text !?A 1 <(null)> <(null)>");
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

/// A pipe or a socket in the place of the standard error that is read when a test wants it.
class UnreadLog
{
public:
    enum class Kind { Pipe, Socket };
    explicit UnreadLog(Kind kind)
    {
        EXPECT_EQ(kind == Kind::Pipe ? pipe(ends_) : socketpair(AF_UNIX, SOCK_STREAM, 0, ends_), 0);
        dup2(ends_[1], STDERR_FILENO);
    }
    ~UnreadLog()
    {
        putBack();
        close(ends_[0]);
    }
    UnreadLog(const UnreadLog &) = delete;
    UnreadLog &operator=(const UnreadLog &) = delete;

    /// The message of the next line; an empty one at the end.
    std::string next()
    {
        std::size_t end = 0;
        while ((end = text_.find('\n')) == std::string::npos) {
            char block[65536];
            const ssize_t bytes = read(ends_[0], block, sizeof block);
            if (bytes <= 0)
                return {};
            text_.append(block, static_cast<std::size_t>(bytes));
        }
        const std::string line = text_.substr(0, end);
        text_.erase(0, end + 1);
        return line.substr(std::min(line.find("] ") + 2, line.size()));
    }

    /// The end of the capture, so that reading comes to an end.
    void putBack()
    {
        if (kept_ < 0)
            return;
        dup2(kept_, STDERR_FILENO);
        close(std::exchange(kept_, -1));
        close(ends_[1]);
    }

private:
    int kept_ = dup(STDERR_FILENO);
    int ends_[2]{-1, -1};
    std::string text_;
};

/// Each line is one letter of its thread, over and over: from 16 bytes to far more than a pipe takes at once.
TEST(NSLog, LinesOfManyThreadsNeverMix)
{
    for (const auto kind : {UnreadLog::Kind::Pipe, UnreadLog::Kind::Socket}) {
        UnreadLog log(kind);
        std::vector<std::jthread> threads;
        for (const char letter : {'a', 'b', 'c', 'd', 'e', 'f'})
            threads.emplace_back([letter] {
                for (std::size_t i = 0; i < 40; ++i)
                    NSLog("%@", std::string(std::size_t{16} << i % 13, letter));
            });
        for (int line = 0; line < 6 * 40; ++line) {
            const std::string message = log.next();
            ASSERT_EQ(message, std::string(std::bit_ceil(message.size()), message[0])) << "cut or mixed";
        }
    }
}

TEST(NSLog, NeverWaitsForAReaderKeepsTheOrderAndTellsHowManyLinesItDropped)
{
    rlimit usual{};
    getrlimit(RLIMIT_NOFILE, &usual);
    const std::pair<UnreadLog::Kind, rlim_t> cases[] = {{UnreadLog::Kind::Pipe, usual.rlim_cur},
                                                        {UnreadLog::Kind::Socket, usual.rlim_cur},
                                                        {UnreadLog::Kind::Pipe, 3}}; // no descriptor to be had
    for (const auto &[kind, descriptors] : cases) {
        UnreadLog log(kind);
        const rlimit few{descriptors, usual.rlim_max};
        setrlimit(RLIMIT_NOFILE, &few);
        const std::string filler(4000, '.');
        constexpr int kLines = 3000; // three times what may wait
        for (int line = 0; line < kLines; ++line)
            NSLog("%d %@", line, filler); // a wait for the reader would never end
        setrlimit(RLIMIT_NOFILE, &usual);
        EXPECT_EQ(log.next(), "0 " + filler);
        NSLog("%d %@", kLines, filler);
        int told = 0;
        for (int expected = 1; expected <= kLines;) {
            const std::string message = log.next();
            const int dropped = message.starts_with("log: dropped ") ? std::stoi(message.substr(13)) : 0;
            ASSERT_TRUE(dropped > 0 || message == std::to_string(expected) + " " + filler) << message;
            expected += std::max(dropped, 1);
            told += dropped;
            ASSERT_LE(expected, kLines + 1);
        }
        EXPECT_GT(told, 0);
        NSLog("end");
        EXPECT_EQ(log.next(), "end") << "told once";
    }
}

TEST(NSLog, WhatWaitsAtTheExitStillGetsOutOfAForkToo)
{
#if KX_SANITIZED && !defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the leak check at the exit of a fork does not find all threads";
#endif
    UnreadLog log(UnreadLog::Kind::Pipe);
    const auto logAll = [filler = std::string(996, '.')](const char *who) {
        for (int line = 0; line < 500; ++line)
            NSLog("%s %d %@", who, line, filler);
    };
    logAll("parent");
    int gate[2];
    ASSERT_EQ(pipe(gate), 0);
    const pid_t child = fork();
    if (child == 0) {
        logAll("child");
        close(gate[1]);
        std::exit(0);
    }
    close(gate[1]);
    log.putBack();
    char none = 0;
    EXPECT_EQ(read(gate[0], &none, 1), 0); // all is logged, and nothing of it read
    close(gate[0]);
    std::map<std::string, int> lines;
    for (std::string message = log.next(); !message.empty(); message = log.next()) {
        const std::string who = message.substr(0, message.find(' '));
        EXPECT_EQ(message.substr(who.size(), 8).find(" " + std::to_string(lines[who]++) + " ."), 0U) << message;
    }
    EXPECT_EQ(lines, (std::map<std::string, int>{{"parent", 500}, {"child", 500}}));
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}

} // namespace
