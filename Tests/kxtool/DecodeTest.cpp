#include "Tests/kxtool/Kxtool.h"

#include <algorithm>
#include <csignal>
#include <gtest/gtest.h>

namespace kx::test
{
namespace
{

TEST(Decode, WritesTheSamplesOfTheFileBigEndianByteForByte)
{
    const MediaSpec spec{.frames = 300001}; // more than one pre-read of 262,144 frames
    EXPECT_EQ(decoded(make(spec)), bigEndian(samples(spec)));
}

TEST(Decode, WritesTheFramesThatAreAskedForAndNoneBeyondTheEnd)
{
    const MediaSpec spec{.frames = 20000};
    const auto file = make(spec);
    const auto all = bigEndian(samples(spec));
    struct Case {
        std::vector<std::string> options;
        int64_t from;
        int64_t frames;
    };
    const std::vector<Case> cases{{{"--from", "1"}, 1, 19999},
                                  {{"--frames", "1"}, 0, 1},
                                  {{"--from", "12345", "--frames", "678"}, 12345, 678},
                                  {{"--from", "19990", "--frames", "4000"}, 19990, 10},
                                  {{"--from", "20000"}, 20000, 0},
                                  {{"--frames", "0"}, 0, 0}};
    for (const Case &c : cases) {
        const std::vector<uint8_t> wanted(all.begin() + c.from * 4, all.begin() + (c.from + c.frames) * 4);
        EXPECT_EQ(decoded(file, c.options), wanted) << ::testing::PrintToString(c.options);
    }
}

TEST(Decode, ReplacesAFileOnlyWhenItIsComplete)
{
    const auto folder = temporaryPath("replace");
    std::filesystem::create_directory(folder);
    const auto output = folder / "out.raw";
    writeBytes(output, {1, 2, 3});
    std::filesystem::permissions(output, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    EXPECT_EQ(kxtool({"decode", fileOf("bad.wav", {'R', 'I', 'F', 'F'}), output}).status, 1);
    EXPECT_EQ(readBytes(output), (std::vector<uint8_t>{1, 2, 3}));
    EXPECT_EQ(kxtool({"decode", make({.frames = 10}), output}).status, 0);
    EXPECT_EQ(readBytes(output).size(), 40U);
    EXPECT_EQ(std::filesystem::status(output).permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 1);
}

TEST(Decode, WritesThroughLinksAndToPipes)
{
    const auto folder = temporaryPath("links");
    std::filesystem::create_directory(folder);
    writeBytes(folder / "target.raw", {});
    std::filesystem::create_symlink("target.raw", folder / "link.raw");
    const std::string file = make({.frames = 10});
    EXPECT_EQ(kxtool({"decode", file, folder / "link.raw"}).status, 0);
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "link.raw"));
    EXPECT_EQ(readBytes(folder / "target.raw").size(), 40U);

    const ToolResult piped = runTool({"sh", "-c", R"("$0" decode "$1" /dev/stdout | wc -c)", KXTOOL_PATH, file});
    EXPECT_EQ(std::stoi(piped.output), 40) << piped.errors;
}

} // namespace
} // namespace kx::test
