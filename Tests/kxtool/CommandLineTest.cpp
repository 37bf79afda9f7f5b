#include "Tests/kxtool/Kxtool.h"

#include <gtest/gtest.h>

namespace kx::test
{
namespace
{

TEST(CommandLine, WrongUsageGivesStatusTwoAndOneLine)
{
    const std::string file = make({.frames = 1000});
    const std::string out = temporaryPath("never.aiff");
    const std::vector<std::vector<std::string>> lines{
        {},
        {"dance"},
        {"dan\nce"},
        {"info"},
        {"info", file, file},
        {"info", file, "--loop"},
        {"devices", file},
        {"play", file, "--start", "-1"},
        {"play", file, "--start=-1"},
        {"play", file, "--start", "1.5"},
        {"play", file, "--start", "0x10"},
        {"play", file, "--start", "12abc"},
        {"play", file, "--start", ""},
        {"play", file, "--start", "9223372036854775808"},
        {"play", file, "--start", "9223372036854775807"},
        {"play", file, "--start", "99999999999999999999999999"},
        {"play", file, "--start", "500", "--end", "500"},
        {"play", file, "--start", "501", "--end", "500"},
        {"play", file, "--end", "0"},
        {"play", file, "--position"},
        {"play", file, "--volume", "nan"},
        {"play", file, "--volume", "inf"},
        {"play", file, "--volume", "1.01"},
        {"play", file, "--volume", "-0.5"},
        {"play", file, "--volume", "1e999"},
        {"play", file, "--seconds", "0"},
        {"play", file, "--seconds", "nan"},
        {"play", file, "--seconds", "1e300"},
        {"export", file},
        {"export", file, out, "--start", "7", "--end", "3"},
        {"export", file, out, "--start", "%s%n"},
        {"export", file, file},
        {"decode", file, file},
        {"format"},
        {"format", file, "--save", file},
        {"format", file, "--save"},
        {"tone", ".", "."},
        {"decode", file, out, "--from", "-3"},
        {"decode", file, out, "--frames", "\xff\xfe"},
    };
    for (const auto &line : lines) {
        const ToolResult result = kxtool(line);
        EXPECT_EQ(result.status, 2) << ::testing::PrintToString(line);
        EXPECT_TRUE(isOneLine(result.errors)) << ::testing::PrintToString(line) << '\n' << result.errors;
        EXPECT_EQ(result.output, "") << ::testing::PrintToString(line);
    }
    EXPECT_FALSE(std::filesystem::exists(out));
}

TEST(CommandLine, FailuresGiveStatusOneAndOneLineWithFileAndReason)
{
    const std::string file = make({.frames = 1000});
    const std::string text = fileOf("text.wav", std::vector<uint8_t>(100, 'x'));
    const std::string missing = temporaryPath("missing.wav");
    const std::string outside = missing + "/out.aiff";
    struct Case {
        std::vector<std::string> line;
        std::string subject;
    };
    const std::vector<Case> cases{
        {{"info", missing}, missing},
        {{"info", temporaryFolder()}, temporaryFolder()},
        {{"info", "/dev/null"}, "/dev/null"},
        {{"info", text}, text},
        {{"info", ""}, ""},
        {{"info", fileOf("empty.wav", {})}, "empty.wav"},
        {{"play", missing}, missing},
        {{"play", file, "--start", "1001"}, file},
        {{"play", file, "--start", "1000"}, file},
        {{"play", file, "--end", "1001"}, file},
        {{"play", file, "--position", "1000000000000000000"}, file},
        {{"play", file, "--device", "no such device %s"}, file},
        {{"export", missing, temporaryPath("out.aiff")}, missing},
        {{"export", file, outside}, outside},
        {{"export", file, temporaryFolder()}, temporaryFolder()},
        {{"export", file, temporaryPath("out.aiff"), "--end", "4000"}, file},
        {{"decode", text, temporaryPath("out.raw")}, text},
        {{"decode", file, outside}, outside},
        {{"decode", file, temporaryPath("out.raw"), "--from", "1001"}, file},
        {{"decode", file, "/dev/full"}, "/dev/full"},
        {{"tone", "/nowhere"}, "/nowhere"},
        {{"format", "/nowhere"}, "/nowhere"},
    };
    for (const Case &c : cases) {
        const ToolResult result = kxtool(c.line);
        EXPECT_EQ(result.status, 1) << ::testing::PrintToString(c.line);
        EXPECT_TRUE(isOneLine(result.errors)) << ::testing::PrintToString(c.line) << '\n' << result.errors;
        const auto named = result.errors.find(c.subject + ": ");
        EXPECT_NE(named, std::string::npos) << ::testing::PrintToString(c.line) << '\n' << result.errors;
        EXPECT_EQ(result.output, "") << ::testing::PrintToString(c.line);
    }
}

TEST(CommandLine, NamesOfAnyBytesAreOpenedAndShownWithoutControls)
{
    const auto folder = temporaryPath("names");
    std::filesystem::create_directory(folder);
    struct Case {
        std::string name;
        std::string shown;
    };
    const std::vector<Case> cases{
        {"%s%n%d.wav", "%s%n%d.wav"},
        {"line\nbreak.wav", "line\\x0abreak.wav"},
        {"\x1b[31mred.wav", "\\x1b[31mred.wav"},
        {"\xff\xc3.wav", "\\xff\\xc3.wav"},
        {"\xed\xa0\x80\xc0\xaf.wav", "\\xed\\xa0\\x80\\xc0\\xaf.wav"},
        {"\xc2\x9b"
         "31m.wav",
         "\\xc2\\x9b31m.wav"},
        {"Käse 音 🎵.wav", "Käse 音 🎵.wav"},
        {"-loop.wav", "-loop.wav"},
        {"--", "--"},
    };
    const auto content = readBytes(make({.frames = 100}));
    for (const Case &c : cases) {
        SCOPED_TRACE(c.shown);
        const ToolResult before = kxtoolIn(folder, {"info", "--", c.name});
        EXPECT_EQ(before.status, 1);
        EXPECT_EQ(before.errors.find("kxtool: " + c.shown + ": "), 0U) << before.errors;
        EXPECT_TRUE(isOneLine(before.errors)) << before.errors;
        writeBytes(folder / c.name, content);
        const ToolResult after = kxtoolIn(folder, {"info", "--", c.name});
        EXPECT_EQ(after.status, 0) << after.errors;
        EXPECT_EQ(valueOf("frames", after.output), "100");
    }
}

TEST(CommandLine, HelpGoesToTheOutputWithStatusZero)
{
    for (const auto &line : {std::vector<std::string>{"--help"}, {"play", "--help"}}) {
        const ToolResult result = kxtool(line);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.errors, "");
        EXPECT_NE(result.output, "");
    }
}

} // namespace
} // namespace kx::test
