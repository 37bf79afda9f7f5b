#include "Tests/Support/HostileBytes.h"
#include "Tests/kxtool/Kxtool.h"

#include <algorithm>
#include <csignal>
#include <gtest/gtest.h>
#include <tuple>

namespace kx::test
{
namespace
{

/// A WAVE file of silence, 1 GiB long but with almost nothing on the disk: an export of it takes long.
std::filesystem::path hugeFile()
{
    constexpr uint32_t dataBytes = 1U << 30;
    Bytes header = waveBytes(44100, 2, 16, {});
    header = withLittle(withLittle(header, 4, header.size() - 8 + dataBytes, 4), header.size() - 4, dataBytes, 4);
    const auto path = fileOf("huge.wav", header);
    std::filesystem::resize_file(path, header.size() + dataBytes);
    return path;
}

TEST(Play, EndsByItselfAtTheEndOfTheDataOrTheFirstReportBeyondTheRange)
{
    const std::tuple<Line, int64_t, int64_t, int64_t> cases[] = {
        {{"play", make({.frames = 20000})}, 0, 20000, 20000},
        {{"play", make({.frames = 441000}), "--start", "30000", "--end", "44100"}, 30000, 44100, 441000}};
    for (const auto &[line, start, end, length] : cases) {
        RunningKxtool tool(line);
        EXPECT_EQ(tool.wait(), 0);
        SCOPED_TRACE(tool.terminal());
        auto shown = framesShown(tool.terminal());
        ASSERT_FALSE(shown.empty());
        EXPECT_TRUE(shown.back() >= end && shown.back() <= length);
        shown.pop_back();
        for (const int64_t frame : shown)
            EXPECT_TRUE(frame >= start && frame < end) << frame;
    }
}

TEST(Play, StaysInTheRangeWhileItLoopsUntilTheInterrupt)
{
    for (const int number : {SIGINT, SIGTERM}) {
        RunningKxtool tool(
            {"play", make({.frames = 44100}), "--loop", "--start", "10000", "--end", "16615", "--position", "12000"});
        // 0.15 seconds of range and reports every 0.1 seconds: ten reports have wrapped several times.
        ASSERT_TRUE(tool.waitFor("(frame [0-9]+[^f]*){10}")) << tool.terminal();
        tool.signal(number);
        EXPECT_EQ(tool.wait(), 0) << tool.terminal();
        const auto shown = framesShown(tool.terminal());
        EXPECT_TRUE(std::ranges::all_of(shown, [](int64_t f) { return f >= 10000 && f <= 16615; })) << tool.terminal();
        EXPECT_FALSE(std::ranges::is_sorted(shown)) << tool.terminal();
    }
}

TEST(Play, StopsAfterTheSecondsAndSaysNothing)
{
    const auto result = kxtool({"play", make({.frames = 44100}), "--loop", "--seconds", "0.3", "--volume", "0.5"});
    EXPECT_EQ(std::pair(result.status, result.output + result.errors), std::pair(0, std::string()));
}

TEST(Export, WritesTheRangeBitForBit)
{
    const Media media{.frames = 44100};
    const auto output = temporaryPath("range.aiff");
    ASSERT_EQ(kxtool({"export", make(media), output, "--start", "1000", "--end", "3001"}).status, 0);
    const Bytes written = decoded(output);
    EXPECT_EQ(written, part(bigEndian(samples(media)), 4 * 1000, 4 * 3001));
}

TEST(Export, ASignalLeavesAValidShorterFileAndAKillNothing)
{
    const auto huge = hugeFile();
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGKILL}) {
        SCOPED_TRACE(number);
        const auto folder = temporaryPath("cancel");
        std::filesystem::create_directory(folder);
        const std::string output = folder / "out.aiff";
        RunningKxtool tool({"export", huge, output});
        ASSERT_TRUE(tool.waitFor(R"(\] +[0-9]+ %)")) << tool.terminal();
        tool.signal(number);
        const int status = tool.wait();
        if (number == SIGKILL) {
            EXPECT_TRUE(std::filesystem::is_empty(folder));
            continue;
        }
        EXPECT_EQ(status, 1) << tool.terminal();
        EXPECT_NE(tool.terminal().find(output + ": cancelled"), std::string::npos) << tool.terminal();
        const ToolResult info = kxtool({"info", output});
        ASSERT_EQ(info.status, 0) << info.errors;
        const int64_t frames = std::stoll(valueOf("frames", info.output));
        EXPECT_LT(frames, 1 << 28);
        EXPECT_EQ(frames % 512, 0);
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 1);
    }
}

} // namespace
} // namespace kx::test
