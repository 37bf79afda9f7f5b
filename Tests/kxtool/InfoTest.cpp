#include "Tests/kxtool/Kxtool.h"

#include <gtest/gtest.h>

namespace kx::test
{
namespace
{

struct InfoCase {
    MediaSpec spec;
    std::string frames; ///< client frames: trunc(frames x 44,100 / rate)
    std::string duration;
    std::string codec;
};

TEST(Info, TellsLengthRateChannelsAndCodec)
{
    const std::vector<InfoCase> cases{
        {{.frames = 44100}, "44100", "1.000000", "Linear PCM, 16-bit integer"},
        {{.rate = 48000, .channels = 1, .frames = 48001, .bits = 24},
         "44100",
         "1.000021",
         "Linear PCM, 24-bit integer"},
        {{.rate = 22050, .frames = 11025, .bits = 32, .floats = true}, "22050", "0.500000", "Linear PCM, 32-bit float"},
        {{.codec = Codec::AIFF, .frames = 1}, "1", "0.000023", "Linear PCM, 16-bit integer"},
        {{.codec = Codec::FLAC, .frames = 30000}, "30000", "0.680272", "FLAC, 16-bit"},
        {{.codec = Codec::MP3, .frames = 50000}, "50000", "1.133787", "MP3"},
        {{.codec = Codec::AAC, .frames = 44100}, "44100", "1.000000", "AAC"},
        {{.frames = 0}, "0", "0.000000", "Linear PCM, 16-bit integer"},
    };
    for (const InfoCase &c : cases) {
        const auto file = make(c.spec);
        SCOPED_TRACE(file);
        const ToolResult result = kxtool({"info", file});
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.errors, "");
        EXPECT_EQ(valueOf("file-frames", result.output), std::to_string(c.spec.frames));
        EXPECT_EQ(valueOf("file-rate", result.output), std::to_string(c.spec.rate));
        EXPECT_EQ(valueOf("file-channels", result.output), std::to_string(c.spec.channels));
        EXPECT_EQ(valueOf("frames", result.output), c.frames);
        EXPECT_EQ(valueOf("duration", result.output), c.duration);
        EXPECT_EQ(valueOf("codec", result.output), c.codec);
    }
}

TEST(Info, FailsWhenTheOutputCannotBeWritten)
{
    const ToolResult result = kxtoolIn("/", {"info", make({.frames = 10})}, "/dev/full");
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(isOneLine(result.errors)) << result.errors;
}

TEST(Devices, ShowsTheVirtualDeviceAsTheDefaultOutput)
{
    const ToolResult result = kxtool({"devices"});
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(isOneLine(result.output)) << result.output;
    EXPECT_NE(result.output.find("\tdefault output\tvirtual\n"), std::string::npos) << result.output;
    EXPECT_GT(std::stoul(result.output), 1U) << result.output;
}

} // namespace
} // namespace kx::test
