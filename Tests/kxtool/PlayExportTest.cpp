#include "Tests/kxtool/Kxtool.h"

#include <algorithm>
#include <csignal>
#include <fstream>
#include <gtest/gtest.h>

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

TEST(Play, EndsByItselfAtTheEndOfTheData)
{
    RunningKxtool tool({"play", make({.frames = 20000})});
    EXPECT_EQ(tool.wait(), 0) << tool.terminal();
    const auto shown = framesShown(tool.terminal());
    ASSERT_FALSE(shown.empty()) << tool.terminal();
    EXPECT_EQ(shown.back(), 20000) << tool.terminal();
}

TEST(Play, EndsAtTheFirstReportBeyondTheRange)
{
    RunningKxtool tool({"play", make({.frames = 10 * 44100}), "--start", "30000", "--end", "44100"});
    EXPECT_EQ(tool.wait(), 0) << tool.terminal();
    const auto shown = framesShown(tool.terminal());
    ASSERT_FALSE(shown.empty()) << tool.terminal();
    EXPECT_GE(shown.back(), 44100);
    EXPECT_TRUE(std::all_of(shown.begin(), shown.end() - 1, [](int64_t f) { return f >= 30000 && f < 44100; }))
        << tool.terminal();
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
    struct Case {
        std::vector<std::string> options;
        int64_t start;
        int64_t end;
    };
    const std::vector<Case> cases{{{}, 0, 44100},
                                  {{"--start", "1000", "--end", "1001"}, 1000, 1001},
                                  {{"--start", "512", "--end", "2560"}, 512, 2560},
                                  {{"--start", "44000"}, 44000, 44100},
                                  {{"--end", "30000"}, 0, 30000}};
    for (const Case &c : cases) {
        SCOPED_TRACE(::testing::PrintToString(c.options));
        const auto output = temporaryPath("range.aiff");
        std::vector<std::string> line{"export", make(spec), output};
        line.insert(line.end(), c.options.begin(), c.options.end());
        ASSERT_EQ(kxtool(line).status, 0);
        const auto written = decoded(output);
        const int64_t slices = (c.end - c.start + 511) / 512;
        ASSERT_EQ(written.size(), static_cast<std::size_t>(slices) * 512 * 4);
        EXPECT_TRUE(std::equal(all.begin() + c.start * 4, all.begin() + c.end * 4, written.begin()));
    }
}

TEST(Export, CancelledByAnInterruptLeavesAValidShorterFile)
{
    const auto folder = temporaryPath("cancel");
    std::filesystem::create_directory(folder);
    const std::string output = folder / "out.aiff";
    RunningKxtool tool({"export", hugeFile(), output});
    ASSERT_TRUE(tool.waitFor(R"(\] +[0-9]+ %)")) << tool.terminal();
    tool.signal(SIGINT);
    EXPECT_EQ(tool.wait(), 1) << tool.terminal();
    EXPECT_NE(tool.terminal().find(output + ": cancelled"), std::string::npos) << tool.terminal();
    const ToolResult info = kxtool({"info", output});
    ASSERT_EQ(info.status, 0) << info.errors;
    const int64_t frames = std::stoll(valueOf("frames", info.output));
    EXPECT_LT(frames, 1 << 28);
    EXPECT_EQ(frames % 512, 0);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 1);
}

} // namespace
} // namespace kx::test
