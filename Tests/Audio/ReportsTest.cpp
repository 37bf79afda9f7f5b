#include "KXFW/Audio/KXAudioUtil.h"
#include "KXFW/Audio/KXRingBuffer.h"
#include "KXFW/Platform/Foundation/StringTable.h"
#include "Tests/Support/CapturedLog.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

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
    const Lines three = logged([&] { descend(times, depth); });
    ASSERT_EQ(three.size(), 5u);
    EXPECT_TRUE(three[1].starts_with("    \"0 ")) << three[1];
    EXPECT_NE(three[1].find(" call_stack + "), std::string::npos) << three[1];
    EXPECT_NE(three[2].find(" (anonymous namespace)::descend(int, unsigned long) + "), std::string::npos) << three[2];
    depth = UINT64_MAX;
    const Lines all = logged([&] { descend(times, depth); });
    EXPECT_GT(std::ranges::count_if(all, [](auto &line) { return line.find("descend(int") != std::string::npos; }),
              times);
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
