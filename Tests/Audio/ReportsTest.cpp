#include "KXFW/Audio/KXAudioUtil.h"
#include "KXFW/Audio/KXRingBuffer.h"
#include "KXFW/Platform/Foundation/StringTable.h"
#include "Tests/Support/CapturedLog.h"
#include "Tests/Support/Media.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
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

/// The same as one text.
std::string loggedText(const std::function<void()> &body)
{
    std::string text;
    for (const std::string &line : logged(body))
        text.append(line).append("\n");
    return text;
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
    const std::string standard = "sampleRate:44100.000000\nformatID:6c70636d\nformatFlag:14\nbytesPerPacket:4\n"
                                 "framesPerPacket:1\nbytesPerFrame:4\nchannelsPerFrame:2\nbitsPerChannel:16\n"
                                 "reserved:0\nis not float\nis big endian\nis signed integer\nis packed\n"
                                 "is not aligned high\nis interleaved\n";
    EXPECT_EQ(loggedText([] { KXAudioUtil::DumpASBD(GetStandardDescription()); }), standard);
    EXPECT_EQ(loggedText([] {
                  KXAudioUtil::DumpDescription({-1e20, 0xA, 0xFFFFFFF1, 1, 2, 3, 4, 0x80000000, 6});
              }),
              "sampleRate:-100000000000000000000.000000\nformatID:a\nformatFlag:-15\nbytesPerPacket:1\n"
              "framesPerPacket:2\nbytesPerFrame:3\nchannelsPerFrame:4\nbitsPerChannel:-2147483648\nreserved:6\n"
              "is float\nis not big endian\nis not signed integer\nis not packed\nis aligned high\n"
              "is noninterleaved\n");
    EXPECT_TRUE(standard.ends_with(loggedText([] { KXAudioUtil::DumpFormatFlags(14); })));
    EXPECT_EQ(loggedText([] { KXAudioUtil::DumpFourCharCode(kx::fourCharCode("fmt?")); }), "err:?tmf\n");
}

TEST(Dumps, OfTimesAndRectanglesAreTheRecordedLines)
{
    AudioTimeStamp time = KXAudioUtil::zeroTimeStamp();
    time.mSampleTime = 1.5;
    time.mHostTime = UINT64_MAX;
    time.mRateScalar = 0.1;
    time.mWordClockTime = 3;
    time.mSMPTETime = {1, 2, 4000000000, 5, 6, -7, 8, 9, INT16_MIN};
    EXPECT_EQ(printed([&] { KXAudioUtil::DumpAudioTimeStamp(time); }),
              "Dumping AudioTimeStamp...\n\t\tmSampleTime:1.500000\n\t\tmHostTime:18446744073709551615\n"
              "\t\tmRateScalar:0.100000\n\t\tmWordClockTime:3\n\t\tDumping SMPTETime...\n"
              "\t\t\t\tmCounter:4000000000\n\t\t\t\tmType:5\n\t\t\t\tmFlags:6\n\t\t\t\tmHours:-7\n"
              "\t\t\t\tmMinutes:8\n\t\t\t\tmSeconds:9\n\t\t\t\tmFrames:-32768\n\t\t....Dumping done\n"
              "...Dumping done.\n");
    EXPECT_EQ(printed([] {
                  KXAudioUtil::DumpNSRect({{1, 2}, {3, 4}});
              }),
              "Dumping NSRect...\n"
              "\t\torigin.x:1.000000,origin.y:2.000000,size.w:3.000000,size.h:4.000000\n"
              "...done.\n");
}

TEST(Dumps, OfFilesAreSilentWhateverTheFileTells)
{
    AudioFileID file = nullptr;
    ASSERT_EQ(AudioFileOpenURL(make({.codec = Codec::FLAC, .frames = 1000}), &file), noErr);
    EXPECT_EQ(loggedText([&] {
                  KXAudioUtil::DumpAudioFileID(file); // has no packets that can be counted
                  KXAudioUtil::DumpAudioFileID(nullptr);
              }),
              "");
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

/// Calls itself `times` times, then shows the whole stack.
[[gnu::noinline]] void descend(int times) // NOLINT(misc-no-recursion)
{
    times > 0 ? descend(times - 1) : call_stack(UINT64_MAX);
    asm volatile("");
}

TEST(CallStack, ShowsTheInnermostCallsWithTheirNames)
{
    volatile uint64_t depth = 3; // constants would make the compiler clone the functions, under names of its own
    volatile int times = 3000;
    EXPECT_EQ(logged([] { call_stack(0); }), (Lines{"symbols:(", ")"}));
    const Lines three = logged([&] { Caller::outer<uint64_t>(depth); });
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
    const Lines all = logged([&] { descend(times); });
    EXPECT_GT(std::ranges::count_if(all, [](auto &line) { return line.find("descend(int)") != std::string::npos; }),
              times);
    EXPECT_TRUE(std::ranges::any_of(all, [](auto &line) { return line.find(" main + ") != std::string::npos; }));
    EXPECT_TRUE(std::ranges::any_of(all, [](auto &line) { return line.find("libc.so.6 ") != std::string::npos; }));
}

TEST(IndentedLog, ManyThreadsKeepLinesWholeAndTheDepthRight)
{
    const std::string text(200, 'x');
    Lines log;
    const std::string output = printed([&] {
        log = logged([&] {
            std::array<std::jthread, 4> threads;
            for (std::jthread &thread : threads)
                thread = std::jthread([&] {
                    for (int i = 0; i < 200; ++i) {
                        KXAudioUtil::log(nullptr, text, +1);
                        KXAudioUtil::log(std::make_shared<Named>(), text, -1);
                    }
                });
        });
        KXAudioUtil::log(nullptr, "last");
    });
    std::istringstream lines(output);
    std::string line;
    for (int i = 0; i < 800; ++i) {
        std::getline(lines, line);
        ASSERT_EQ(line.substr(line.find_first_not_of('\t')), text);
    }
    ASSERT_EQ(log.size(), 800u);
    for (const std::string &whole : log)
        ASSERT_EQ(whole.substr(whole.find_first_not_of('\t')), "a %@ \"name\"; " + text);
    std::getline(lines, line);
    EXPECT_EQ(line, "last");
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
