#include "Tests/kxtool/Kxtool.h"

#include <gtest/gtest.h>

namespace kx::test
{
namespace
{

/// Expects this status and one line that ends and has `part` in it, and nothing on the standard output.
void expectRefused(int status, const std::string &part, const Line &line)
{
    SCOPED_TRACE(testing::PrintToString(line));
    const ToolResult result = kxtool(line);
    EXPECT_EQ(result.status, status);
    EXPECT_TRUE(isOneLine(result.errors)) << result.errors;
    EXPECT_NE(result.errors.find(part), std::string::npos) << result.errors;
    EXPECT_EQ(result.output, "");
}

TEST(CommandLine, WrongUsageGivesStatusTwoAndOneLine)
{
    const std::string file = make({.frames = 1000});
    const std::string out = temporaryPath("never.aiff");
    const Line lines[] = {
        {},
        {"dan\nce"},
        {"info"},
        {"info", file, file},
        {"info", file, "--loop"},
        {"play", file, "--start", "500", "--end", "500"},
        {"play", file, "--end", "0"},
        {"play", file, "--position"},
        {"export", file},
        {"export", file, file},
        {"export", file, temporaryPath("never.wav")},
        {"export", file, out, "--end", "0"},
        {"decode", file, file},
        {"format", file, "--save", file},
        {"decode", file, out, "--frames", "\xff\xfe"},
        {"synth", out, "--type", "sine"},
    };
    for (const Line &line : lines)
        expectRefused(2, "", line);
    for (const char *frame : {"-1", "0x10", "12abc", "", "%s%n", "1:60", "1:2:3:4", ":5", "1:", "1.5:30", "1e3", "nan",
                              "9223372036854775807", "9223372036854775808"})
        expectRefused(2, "--start", {"play", file, "--start", frame});
    for (const char *volume : {"nan", "inf", "1.01", "-0.5", "1e999"})
        expectRefused(2, "--volume", {"play", file, "--volume", volume});
    for (const char *seconds : {"0", "nan", "1e300"})
        expectRefused(2, "--seconds", {"play", file, "--seconds", seconds});
    const std::pair<const char *, Line> sounds[] = {
        {"--type", {"saw", "1"}},
        {"--seconds", {"sine", "24001"}},
        {"--lfo-amplitude", {"sine", "1", "--lfo-type", "sine", "--lfo-pitch", "5"}},
        {"--lfo-amplitude", {"sine", "1", "--lfo-type", "sine", "--lfo-pitch", "5", "--lfo-amplitude", "1e9"}},
    };
    for (const auto &[option, sound] : sounds) {
        Line line{"synth", out, "--pitch", "441", "--amplitude", "1", "--type", sound[0], "--seconds", sound[1]};
        line.insert(line.end(), sound.begin() + 2, sound.end());
        expectRefused(2, option, line);
    }
    EXPECT_FALSE(std::filesystem::exists(out));
    const ToolResult help = kxtool({"play", "--help"});
    EXPECT_TRUE(help.status == 0 && help.errors.empty() && !help.output.empty());
}

TEST(CommandLine, FailuresGiveStatusOneAndOneLineWithFileAndReason)
{
    const std::string file = make({.frames = 1000});
    const std::string missing = temporaryPath("missing.wav");
    const std::string outside = missing + "/out.aiff";
    const std::string out = temporaryPath("out");
    const std::pair<std::string, Line> cases[] = {
        {missing, {"info", missing}},
        {"/dev/null", {"info", "/dev/null"}},
        {"", {"info", ""}},
        {missing, {"play", missing}},
        {file, {"play", file, "--start", "1001"}},
        {file, {"play", file, "--start", "1000"}},
        {file, {"play", file, "--end", "1001"}},
        {file, {"play", file, "--position", "1000000000000000000"}},
        {file, {"play", file, "--device", "no such device %s"}},
        {missing, {"export", missing, out}},
        {outside, {"export", file, outside}},
        {missing, {"decode", missing, out}},
        {outside, {"decode", file, outside}},
        {file, {"decode", file, out, "--from", "1001"}},
        {"/dev/full", {"decode", file, "/dev/full"}},
        {"/nowhere", {"tone", "/nowhere"}},
        {outside, {"synth", outside, "--type", "sine", "--pitch", "9", "--amplitude", "1", "--seconds", "1"}},
    };
    for (const auto &[subject, line] : cases)
        expectRefused(1, subject + ": ", line);
    for (const ToolResult &result :
         {kxtool({"info", file}, ".", "/dev/full"), kxtool({"format", file, "--save", "/dev/full"})}) {
        EXPECT_EQ(result.status, 1) << "the output cannot be written";
        EXPECT_TRUE(isOneLine(result.errors)) << result.errors;
    }
}

TEST(CommandLine, NamesOfAnyBytesAreOpenedAndShownWithoutControls)
{
    const auto folder = temporaryPath("names");
    std::filesystem::create_directory(folder);
    const std::pair<std::string, std::string> cases[] = {
        {"line\nbreak.wav", "line\\x0abreak.wav"},
        {"\x1b[31mred.wav", "\\x1b[31mred.wav"},
        {"\xff\xc3.wav", "\\xff\\xc3.wav"},
        {"\xed\xa0\x80\xc0\xaf.wav", "\\xed\\xa0\\x80\\xc0\\xaf.wav"},
        {"\xc2\x9bm.wav", "\\xc2\\x9bm.wav"},
        {"Käse 音 🎵.wav", "Käse 音 🎵.wav"},
        {"-loop.wav", "-loop.wav"},
    };
    for (const auto &[name, shown] : cases) {
        SCOPED_TRACE(shown);
        const ToolResult before = kxtool({"info", "--", name}, folder);
        EXPECT_EQ(before.status, 1);
        EXPECT_TRUE(before.errors.starts_with("kxtool: " + shown + ": ") && isOneLine(before.errors)) << before.errors;
        std::filesystem::copy_file(make({.frames = 100}), folder / name);
        const ToolResult after = kxtool({"info", "--", name}, folder);
        EXPECT_EQ(valueOf("frames", after.output), "100") << after.errors;
    }
}

} // namespace
} // namespace kx::test
