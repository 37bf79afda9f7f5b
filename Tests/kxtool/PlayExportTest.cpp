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
    auto header = waveBytes(44100, 2, 16, {});
    const auto put = [&](std::size_t at, uint32_t value) {
        for (int i = 0; i < 4; ++i)
            header[at + static_cast<std::size_t>(i)] = static_cast<uint8_t>(value >> 8 * i);
    };
    put(4, static_cast<uint32_t>(header.size()) - 8 + dataBytes);
    put(header.size() - 4, dataBytes);
    const auto path = fileOf("huge.wav", header);
    std::filesystem::resize_file(path, header.size() + dataBytes);
    return path;
}

TEST(Play, EndsByItselfAtTheEndOfTheDataOrTheFirstReportBeyondTheRange)
{
    const std::tuple<int64_t, std::vector<std::string>, int64_t, int64_t> cases[] = {
        {20000, {}, 0, 20000}, {10 * 44100, {"--start", "30000", "--end", "44100"}, 30000, 44100}};
    for (const auto &[frames, options, start, end] : cases) {
        std::vector<std::string> line{"play", make({.frames = frames})};
        line.insert(line.end(), options.begin(), options.end());
        RunningKxtool tool(line);
        EXPECT_EQ(tool.wait(), 0) << tool.terminal();
        const auto shown = framesShown(tool.terminal());
        ASSERT_FALSE(shown.empty()) << tool.terminal();
        EXPECT_GE(shown.back(), end) << tool.terminal();
        EXPECT_LE(shown.back(), frames) << tool.terminal();
        for (auto frame = shown.begin(); frame + 1 < shown.end(); ++frame)
            EXPECT_TRUE(*frame >= start && *frame < end) << tool.terminal();
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
        EXPECT_TRUE(std::all_of(shown.begin(), shown.end(), [](int64_t f) { return f >= 10000 && f <= 16615; }))
            << tool.terminal();
        EXPECT_FALSE(std::is_sorted(shown.begin(), shown.end())) << tool.terminal();
    }
}

TEST(Play, StopsAfterTheSecondsAndSaysNothing)
{
    const ToolResult result =
        kxtool({"play", make({.frames = 44100}), "--loop", "--seconds", "0.3", "--volume", "0.5"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output + result.errors, "");
}

TEST(Export, WritesTheRangeBitForBitInWholeSlices)
{
    const MediaSpec spec{.frames = 44100};
    const auto all = bigEndian(samples(spec));
    const std::tuple<std::vector<std::string>, int64_t, int64_t> cases[] = {
        {{"--start", "1000", "--end", "1001"}, 1000, 1001},
        {{"--start", "44000"}, 44000, 44100},
        {{"--end", "30000"}, 0, 30000}};
    for (const auto &[options, start, end] : cases) {
        const auto output = temporaryPath("range.aiff");
        std::vector<std::string> line{"export", make(spec), output};
        line.insert(line.end(), options.begin(), options.end());
        ASSERT_EQ(kxtool(line).status, 0) << start;
        const auto written = decoded(output);
        ASSERT_EQ(written.size(), static_cast<std::size_t>((end - start + 511) / 512 * 512 * 4)) << start;
        EXPECT_TRUE(std::equal(all.begin() + start * 4, all.begin() + end * 4, written.begin())) << start;
    }
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
