#include "KXFW/Audio/KXAudioUtil.h"
#include "KXFW/Audio/KXRingBuffer.h"
#include "KXFW/Platform/Foundation/StringTable.h"
#include "Tests/Support/CapturedLog.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <thread>

using namespace kx::test;

namespace
{

using Lines = std::vector<std::string>;
using Util = KXAudioUtil;

std::string printed(const std::function<void()> &body)
{
    testing::internal::CaptureStdout();
    body();
    return testing::internal::GetCapturedStdout();
}

Lines logged(const std::function<void()> &body)
{
    CapturedLog log;
    body();
    return log.messages();
}

struct Named {
    [[nodiscard]] std::string description() const { return "a %@ \"name\""; }
};

TEST(IndentedLog, OpensAndClosesLevelsAtAnyDepth)
{
    EXPECT_EQ(printed([] {
                  Util::log(nullptr, "open", +1);
                  Util::log(nullptr, "in %s");
                  Util::log(nullptr, "again", +1);
                  Util::log(std::shared_ptr<Named>(), "deep");
                  Util::log(nullptr, "back", -1);
                  Util::log(nullptr, "close", -1);
                  Util::log(nullptr, "below", -1);
                  Util::log(nullptr, "", +1);
              }),
              "open\n\t\tin %s\n\t\tagain\n\t\t\t\tdeep\n\t\tback\nclose\nbelow\n\n");
    const auto shift = [](int8_t level) {
        return printed([&] {
            for (int i = 0; i < 200; ++i)
                Util::log(nullptr, "x", level);
        });
    };
    EXPECT_TRUE(shift(+1).ends_with("\n" + std::string(255, '\t') + "x\n"));
    EXPECT_TRUE(shift(-1).ends_with("\nx\n"));
    const KXRingBuffer ring(8);
    EXPECT_EQ(logged([&] {
                  Util::log(std::make_shared<Named>(), "text %@", +1);
                  Util::log(&ring, "ring", -1);
              }),
              (Lines{"a %@ \"name\"; text %@", ring.description() + "; ring"}));
}

TEST(IndentedLog, ManyThreadsKeepLinesWholeAndTheDepthRight)
{
    const std::string text(200, 'x');
    const Lines log = logged([&] {
        std::array<std::jthread, 4> threads;
        for (std::jthread &thread : threads)
            thread = std::jthread([&] {
                for (int i = 0; i < 400; ++i)
                    Util::log(std::make_shared<Named>(), text, i % 2 == 0 ? +1 : -1);
            });
    });
    ASSERT_EQ(log.size(), 1600u);
    for (const std::string &whole : log)
        ASSERT_EQ(whole.substr(whole.find_first_not_of('\t')), "a %@ \"name\"; " + text);
    EXPECT_EQ(printed([] { Util::log(nullptr, "last"); }), "last\n");
}

TEST(Dumps, AreTheRecordedLines)
{
    EXPECT_EQ(logged([] {
                  Util::DumpASBD({-1e20, 0xA, 0xFFFFFFF1, 1, 2, 3, 4, 0x80000000, 6});
              }),
              (Lines{"sampleRate:-100000000000000000000.000000", "formatID:a", "formatFlag:-15", "bytesPerPacket:1",
                     "framesPerPacket:2", "bytesPerFrame:3", "channelsPerFrame:4", "bitsPerChannel:-2147483648",
                     "reserved:6", "is float", "is not big endian", "is not signed integer", "is not packed",
                     "is aligned high", "is noninterleaved"}));
    EXPECT_EQ(logged([] { Util::DumpFormatFlags(14); }), (Lines{"is not float", "is big endian", "is signed integer",
                                                                "is packed", "is not aligned high", "is interleaved"}));
    EXPECT_EQ(logged([] { Util::DumpFourCharCode(kx::fourCharCode("fmt?")); }), Lines{"err:?tmf"});
    AudioTimeStamp time = Util::zeroTimeStamp();
    time.mSampleTime = 1.5;
    time.mHostTime = UINT64_MAX;
    time.mRateScalar = 0.1;
    time.mWordClockTime = 3;
    time.mSMPTETime = {1, 2, 4000000000, 5, 6, -7, 8, 9, INT16_MIN};
    EXPECT_EQ(printed([&] { Util::DumpAudioTimeStamp(time); }),
              "Dumping AudioTimeStamp...\n\t\tmSampleTime:1.500000\n\t\tmHostTime:18446744073709551615\n"
              "\t\tmRateScalar:0.100000\n\t\tmWordClockTime:3\n\t\tDumping SMPTETime...\n"
              "\t\t\t\tmCounter:4000000000\n\t\t\t\tmType:5\n\t\t\t\tmFlags:6\n\t\t\t\tmHours:-7\n"
              "\t\t\t\tmMinutes:8\n\t\t\t\tmSeconds:9\n\t\t\t\tmFrames:-32768\n\t\t....Dumping done\n"
              "...Dumping done.\n");
    EXPECT_EQ(printed([] {
                  Util::DumpNSRect({{1, 2}, {3, 4}});
              }),
              "Dumping NSRect...\n\t\torigin.x:1.000000,origin.y:2.000000,size.w:3.000000,size.h:4.000000\n...done.\n");
    EXPECT_EQ(logged([] { Util::DumpAudioFileID(nullptr); }), Lines{});
}

/// Hidden functions have their names too.
[[gnu::noinline]] void descend(int times, uint64_t depth) // NOLINT(misc-no-recursion)
{
    times > 0 ? descend(times - 1, depth) : call_stack(depth);
    asm volatile(""); // not the last call, so that this function stays on the stack
}

TEST(CallStack, ShowsTheInnermostCallsWithTheirNames)
{
    volatile uint64_t depth = 3; // constants would make the compiler clone the function, under names of its own
    volatile int times = 3000;
    EXPECT_EQ(logged([] { call_stack(0); }), (Lines{"symbols:(", ")"}));
    const Lines three = logged([&] { descend(times, depth); });
    ASSERT_EQ(three.size(), 5u);
    EXPECT_TRUE(three[1].starts_with("    \"0 ")) << three[1];
    EXPECT_NE(three[1].find("test_Audio "), std::string::npos) << three[1];
    EXPECT_NE(three[1].find(" call_stack + "), std::string::npos) << three[1];
    EXPECT_NE(three[2].find(" (anonymous namespace)::descend(int, unsigned long) + "), std::string::npos) << three[2];
    EXPECT_TRUE(three[2].ends_with("\",") && three[3].ends_with("\"")) << three[3];
    depth = UINT64_MAX;
    const Lines all = logged([&] { descend(times, depth); });
    const auto named = [&](const char *name) {
        return std::ranges::count_if(all, [&](auto &line) { return line.find(name) != std::string::npos; });
    };
    EXPECT_GT(named("descend(int"), times);
    EXPECT_EQ(named(" main + "), 1);
    EXPECT_GT(named("libc.so.6 "), 0);
}

TEST(Alert, LooksItsTextsUp)
{
    kx::StringTable::main().setTexts("de", {{"Failed to read a file.", "Datei nicht lesbar."}});
    kx::StringTable::setPreferredLanguages({"de_DE"});
    const auto alert = Util::alertWithMessage("Failed to read a file.", "Check whether the file is not broken");
    kx::StringTable::main().setTexts("de", {});
    EXPECT_EQ(alert->messageText(), "Datei nicht lesbar.");
    EXPECT_EQ(alert->informativeText(), "Check whether the file is not broken");
}

} // namespace
