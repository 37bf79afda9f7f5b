#include "KXFW/Audio/DescriptionLines.h"
#include "KXFW/Audio/KXAudioUtil.h"
#include "KXFW/Audio/KXRingBuffer.h"
#include "KXFW/Platform/Foundation/StringTable.h"
#include "Tests/Support/CapturedLog.h"
#include "Tests/Support/Media.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <thread>

using namespace kx::test;

namespace
{

using Lines = std::vector<std::string>;

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

TEST(IndentedLog, OpensAndClosesLevels)
{
    const std::string output = printed([] {
        KXAudioUtil::log(nullptr, "open", +1);
        KXAudioUtil::log(nullptr, "in %s");
        KXAudioUtil::log(nullptr, "again", +1);
        KXAudioUtil::log(std::shared_ptr<Named>(), "deep");
        KXAudioUtil::log(nullptr, "back", -1);
        KXAudioUtil::log(nullptr, "close", -1);
    });
    EXPECT_EQ(output, "open\n\t\tin %s\n\t\tagain\n\t\t\t\tdeep\n\t\tback\nclose\n");
    const Named named;
    const KXRingBuffer ring(8);
    EXPECT_EQ(logged([&] {
                  KXAudioUtil::log(&named, "text %@", +1);
                  KXAudioUtil::log(&ring, "ring");
                  KXAudioUtil::log(std::make_shared<Named>(), "", -1);
              }),
              (Lines{"a %@ \"name\"; text %@", "\t\t" + ring.description() + "; ring", "a %@ \"name\"; "}));
}

TEST(IndentedLog, AnyDepthIsSafe)
{
    const auto shift = [](int times, int8_t level) {
        return printed([&] {
            for (int i = 0; i < times; ++i)
                KXAudioUtil::log(nullptr, "", level);
        });
    };
    EXPECT_EQ(shift(3, -1), "\n\n\n");
    shift(3, +1);
    shift(200, +1);
    EXPECT_EQ(printed([] { KXAudioUtil::log(nullptr, "x"); }), std::string(255, '\t') + "x\n");
    shift(200, -1);
    EXPECT_EQ(printed([] { KXAudioUtil::log(nullptr, "x"); }), "x\n");
}

TEST(Dumps, OfADescriptionAreTheRecordedLines)
{
    const Lines standard{"sampleRate:44100.000000",
                         "formatID:6c70636d",
                         "formatFlag:14",
                         "bytesPerPacket:4",
                         "framesPerPacket:1",
                         "bytesPerFrame:4",
                         "channelsPerFrame:2",
                         "bitsPerChannel:16",
                         "reserved:0",
                         "is not float",
                         "is big endian",
                         "is signed integer",
                         "is packed",
                         "is not aligned high",
                         "is interleaved"};
    EXPECT_EQ(logged([] { KXAudioUtil::DumpASBD(GetStandardDescription()); }), standard);
    EXPECT_EQ(logged([] { KXAudioUtil::DumpDescription(GetStandardDescription()); }), standard);
    EXPECT_EQ(kx::descriptionLines(GetStandardDescription()), standard);
    EXPECT_EQ(logged([] { KXAudioUtil::DumpFormatFlags(0xFFFFFFF1); }),
              (Lines{"is float", "is not big endian", "is not signed integer", "is not packed", "is aligned high",
                     "is noninterleaved"}));
    const Lines odd = kx::descriptionLines({-1e20, 0xA, 0x80000000, 1, 2, 3, 4, ~0u, 6});
    EXPECT_EQ(
        (Lines{odd.begin(), odd.begin() + 9}),
        (Lines{"sampleRate:-100000000000000000000.000000", "formatID:a", "formatFlag:-2147483648", "bytesPerPacket:1",
               "framesPerPacket:2", "bytesPerFrame:3", "channelsPerFrame:4", "bitsPerChannel:-1", "reserved:6"}));
    EXPECT_EQ(logged([] { KXAudioUtil::DumpFourCharCode(0x41424344); }), Lines{"err:DCBA"});
    EXPECT_EQ(logged([] { KXAudioUtil::DumpFourCharCode(kx::fourCharCode("fmt?")); }), Lines{"err:?tmf"});
}

TEST(Dumps, OfTimesAndRectanglesAreTheRecordedLines)
{
    AudioTimeStamp time = KXAudioUtil::zeroTimeStamp();
    time.mSampleTime = 1.5;
    time.mHostTime = UINT64_MAX;
    time.mRateScalar = 0.1;
    time.mWordClockTime = 3;
    time.mSMPTETime = {1, 2, 4000000000, 5, 6, -7, 8, 9, INT16_MIN};
    EXPECT_EQ(printed([&] { KXAudioUtil::DumpAudioTimeStamp(time); }), "Dumping AudioTimeStamp...\n"
                                                                       "\t\tmSampleTime:1.500000\n"
                                                                       "\t\tmHostTime:18446744073709551615\n"
                                                                       "\t\tmRateScalar:0.100000\n"
                                                                       "\t\tmWordClockTime:3\n"
                                                                       "\t\tDumping SMPTETime...\n"
                                                                       "\t\t\t\tmCounter:4000000000\n"
                                                                       "\t\t\t\tmType:5\n"
                                                                       "\t\t\t\tmFlags:6\n"
                                                                       "\t\t\t\tmHours:-7\n"
                                                                       "\t\t\t\tmMinutes:8\n"
                                                                       "\t\t\t\tmSeconds:9\n"
                                                                       "\t\t\t\tmFrames:-32768\n"
                                                                       "\t\t....Dumping done\n"
                                                                       "...Dumping done.\n");
    EXPECT_EQ(printed([] {
                  KXAudioUtil::DumpNSRect({{1, 2}, {3, 4}});
              }),
              "Dumping NSRect...\n"
              "\t\torigin.x:1.000000,origin.y:2.000000,size.w:3.000000,size.h:4.000000\n"
              "...done.\n");
}

/// Every one of them prints nothing, to the log and to the standard output.
TEST(Dumps, OfFilesColoursAndPacketsAreSilent)
{
    AudioFileID file = nullptr;
    ASSERT_EQ(AudioFileOpenURL(make({.frames = 1000}), &file), noErr);
    std::string output;
    EXPECT_EQ(logged([&] {
                  output = printed([&] {
                      KXAudioUtil::DumpAudioFileID(file);
                      KXAudioUtil::DumpAudioFileID(nullptr);
                      KXAudioUtil::DumpASRD({GetStandardDescription(), {1, 2}});
                      KXAudioUtil::DumpNSColor({});
                      KXAudioUtil::DumpPacketDescription({1, 2, 3});
                  });
              }),
              Lines{});
    EXPECT_EQ(output, "");
    EXPECT_EQ(AudioFileClose(file), noErr);
}

/// Hidden and static functions have their names too.
struct Caller {
    [[gnu::noinline]] static void innermost(uint64_t depth)
    {
        call_stack(depth);
        asm volatile(""); // not the last call, so that this function stays on the stack
    }
    template <class Depth> [[gnu::noinline]] static void outer(Depth depth)
    {
        innermost(depth);
        asm volatile("");
    }
};

TEST(CallStack, ShowsTheInnermostCallsWithTheirNames)
{
    EXPECT_EQ(logged([] { call_stack(0); }), (Lines{"symbols:(", ")"}));
    const Lines three = logged([] { Caller::outer<uint64_t>(3); });
    ASSERT_EQ(three.size(), 5u);
    EXPECT_EQ(three[0], "symbols:(");
    const std::string caller = " (anonymous namespace)::Caller::";
    const Lines expected{" call_stack + ", caller + "innermost(unsigned long) + ",
                         "void" + caller + "outer<unsigned long>"};
    for (std::size_t i = 0; i < 3; ++i) {
        const std::string &line = three[i + 1];
        EXPECT_EQ(line.find("    \"" + std::to_string(i) + " "), 0u) << line;
        EXPECT_NE(line.find("test_Audio "), std::string::npos) << line;
        EXPECT_NE(line.find(expected[i]), std::string::npos) << line;
        EXPECT_TRUE(line.ends_with(i < 2 ? "\"," : "\"")) << line;
    }
    EXPECT_EQ(three[4], ")");
    const Lines all = logged([] { Caller::outer(UINT64_MAX); });
    EXPECT_GT(all.size(), 10u);
    EXPECT_TRUE(std::ranges::any_of(all, [](auto &line) { return line.find(" main + ") != std::string::npos; }));
    EXPECT_TRUE(std::ranges::any_of(all, [](auto &line) { return line.find("libc.so.6 ") != std::string::npos; }));
}

constexpr int kThreads = 4;
constexpr int kLinesEach = 200;

TEST(IndentedLog, LinesOfManyThreadsStayWhole)
{
    std::string output;
    const Lines log = logged([&] {
        output = printed([] {
            std::vector<std::thread> threads;
            for (int t = 0; t < kThreads; ++t)
                threads.emplace_back([letter = static_cast<char>('a' + t)] {
                    for (int i = 0; i < kLinesEach; ++i) {
                        KXAudioUtil::log(nullptr, std::string(200, letter));
                        KXAudioUtil::log(std::make_shared<Named>(), std::string(200, letter));
                    }
                });
            for (std::thread &thread : threads)
                thread.join();
        });
    });
    const auto isWhole = [](std::string_view line) {
        return line.size() == 200 && line.find_first_not_of(line[0]) == std::string_view::npos;
    };
    std::istringstream lines(output);
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count)
        ASSERT_TRUE(isWhole(line)) << line;
    EXPECT_EQ(count, kThreads * kLinesEach);
    EXPECT_EQ(log.size(), std::size_t{kThreads * kLinesEach});
    for (const std::string &line : log)
        ASSERT_TRUE(line.starts_with("a %@ \"name\"; ") && isWhole(std::string_view(line).substr(13))) << line;
}

TEST(Alert, LooksItsTextsUp)
{
    kx::StringTable::main().setTexts("de", {{"Failed to read a file.", "Datei nicht lesbar."}});
    kx::StringTable::setPreferredLanguages({"de_DE"});
    const auto alert = KXAudioUtil::alertWithMessage("Failed to read a file.", "Check whether the file is not broken");
    kx::StringTable::main().setTexts("de", {});
    EXPECT_EQ(alert->messageText(), "Datei nicht lesbar.");
    EXPECT_EQ(alert->informativeText(), "Check whether the file is not broken");
}

} // namespace
