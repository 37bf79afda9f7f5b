#include "KXFW/Audio/KXAudioUtil.h"
#include "Tests/kxtool/Kxtool.h"

#include <gtest/gtest.h>

namespace kx::test
{
namespace
{

TEST(Tone, MakesTheTestFileThatFormatDescribes)
{
    const auto folder = temporaryPath("tone");
    std::filesystem::create_directory(folder);
    const ToolResult made = kxtool({"tone", folder});
    const std::string file = folder / "linear_dont_play.wav";
    EXPECT_EQ(made.output, file + "\n");
    EXPECT_EQ(made.status, 0) << made.errors;

    const auto description = temporaryPath("tone.plist");
    const ToolResult shown = kxtool({"format", file, "--save", description});
    EXPECT_EQ(shown.status, 0) << shown.errors;
    EXPECT_EQ(shown.output, "sampleRate:44100.000000\nformatID:6c70636d\nformatFlag:12\nbytesPerPacket:4\n"
                            "framesPerPacket:1\nbytesPerFrame:4\nchannelsPerFrame:2\nbitsPerChannel:16\nreserved:0\n"
                            "is not float\nis not big endian\nis signed integer\nis packed\nis not aligned high\n"
                            "is interleaved\n");
    const AudioStreamBasicDescription saved = KXAudioUtil::loadDescription(description);
    EXPECT_TRUE(EqualASBDs(saved, {44100, kAudioFormatLinearPCM, 12, 4, 1, 4, 2, 16, 0}));
}

TEST(Tone, ADescriptionThatCannotBeSavedIsOneLine)
{
    const std::string file = make({.frames = 10});
    for (const std::string path : {"/nowhere/x", "/dev/full"}) {
        const ToolResult result = kxtool({"format", file, "--save", path});
        EXPECT_EQ(result.status, 1) << path;
        EXPECT_TRUE(isOneLine(result.errors)) << result.errors;
    }
}

} // namespace
} // namespace kx::test
