#include "KXFW/Audio/KXAudioUtil.h"
#include "KXFW/Audio/KXOscillator.h"
#include "Tests/kxtool/Kxtool.h"

#include <cstring>
#include <gtest/gtest.h>
#include <tuple>

namespace kx::test
{
namespace
{

TEST(Info, TellsLengthRateChannelsAndCodec)
{
    // What is made; client frames, trunc(frames x 44,100 / rate); seconds; codec.
    const std::tuple<MediaSpec, const char *, const char *, const char *> cases[] = {
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
    for (const auto &[spec, frames, duration, codec] : cases) {
        const ToolResult result = kxtool({"info", make(spec)});
        EXPECT_EQ(result.status, 0) << result.errors;
        EXPECT_EQ(valueOf("file-frames", result.output), std::to_string(spec.frames));
        EXPECT_EQ(valueOf("file-rate", result.output), std::to_string(spec.rate));
        EXPECT_EQ(valueOf("file-channels", result.output), std::to_string(spec.channels));
        EXPECT_EQ(valueOf("frames", result.output), frames);
        EXPECT_EQ(valueOf("duration", result.output), duration);
        EXPECT_EQ(valueOf("codec", result.output), codec);
    }
}

TEST(Devices, ShowsTheVirtualDeviceAsTheDefaultOutput)
{
    const ToolResult result = kxtool({"devices"});
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(isOneLine(result.output)) << result.output;
    EXPECT_NE(result.output.find("\tdefault output\tvirtual\n"), std::string::npos) << result.output;
}

TEST(Decode, WritesTheFramesThatAreAskedForByteForByteAndNoneBeyondTheEnd)
{
    const MediaSpec spec{.frames = 300001}; // more than one pre-read of 262,144 frames
    const auto all = bigEndian(samples(spec));
    const std::tuple<std::vector<std::string>, int64_t, int64_t> cases[] = {
        {{}, 0, 300001},
        {{"--frames", "1"}, 0, 1},
        {{"--from", "12345", "--frames", "678"}, 12345, 678},
        {{"--from", "299991", "--frames", "4000"}, 299991, 10},
        {{"--from", "300001"}, 300001, 0},
        {{"--frames", "0"}, 0, 0}};
    for (const auto &[options, from, frames] : cases)
        EXPECT_EQ(decoded(make(spec), options),
                  (std::vector<uint8_t>(all.begin() + from * 4, all.begin() + (from + frames) * 4)))
            << ::testing::PrintToString(options);
}

TEST(Decode, ReplacesAFileOnlyWhenItIsCompleteThroughLinksAndToPipes)
{
    const auto folder = temporaryPath("replace");
    std::filesystem::create_directory(folder);
    const auto target = folder / "target.raw";
    writeBytes(target, {1, 2, 3});
    std::filesystem::permissions(target, std::filesystem::perms{0604});
    std::filesystem::create_symlink("target.raw", folder / "link.raw");
    const std::string whole = make({.frames = 44100}); // far more than may be written
    const ToolResult cut = runTool({"sh", "-c", R"(trap '' XFSZ; ulimit -f 1; exec "$0" decode "$1" "$2")", KXTOOL_PATH,
                                    whole, folder / "link.raw"});
    EXPECT_EQ(cut.status, 1) << cut.errors;
    EXPECT_EQ(readBytes(target), (std::vector<uint8_t>{1, 2, 3}));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 2);
    const std::string file = make({.frames = 10});
    EXPECT_EQ(kxtool({"decode", file, folder / "link.raw"}).status, 0);
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "link.raw"));
    EXPECT_EQ(readBytes(target).size(), 40U);
    EXPECT_EQ(std::filesystem::status(target).permissions(), std::filesystem::perms{0604});

    const ToolResult piped = runTool({"sh", "-c", R"("$0" decode "$1" /dev/stdout | wc -c)", KXTOOL_PATH, file});
    EXPECT_EQ(std::stoi(piped.output), 40) << piped.errors;
}

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

TEST(Synth, WritesTheSamplesOfTheOscillatorBitForBit)
{
    const std::string output = temporaryPath("synth.wav");
    const std::vector<std::string> types{"sine", "triangle", "square", "noise", "constant"};
    for (std::size_t type = 0; type < types.size(); ++type) {
        KXOscillator oscillator;
        oscillator.setType(static_cast<uint8_t>(type));
        oscillator.setPitch(441);
        oscillator.setAmplitude(-2.5F);
        const auto modulator = std::make_shared<KXOscillator>();
        modulator->setType(1);
        modulator->setPitch(5);
        modulator->setAmplitude(30);
        oscillator.setPitchLFO(modulator);
        std::vector<float> samples(88200); // more than one block
        const auto count = static_cast<uint32_t>(samples.size());
        std::srand(1); // as a program starts
        oscillator.pull(samples.data(), &count);

        const ToolResult result =
            kxtool({"synth", output, "--type", types[type], "--pitch", "441", "--amplitude", "-2.5", "--seconds", "2",
                    "--lfo-type", "triangle", "--lfo-pitch", "5", "--lfo-amplitude", "30"});
        EXPECT_EQ(result.status, 0) << result.errors;
        EXPECT_EQ(result.output + result.errors, "");
        const auto bytes = readBytes(output);
        ASSERT_GT(bytes.size(), samples.size() * 4) << types[type];
        EXPECT_EQ(std::memcmp(bytes.data() + bytes.size() - samples.size() * 4, samples.data(), samples.size() * 4), 0)
            << types[type];
    }
    const std::string info = kxtool({"info", output}).output;
    EXPECT_EQ(valueOf("file-frames", info), "88200");
    EXPECT_EQ(valueOf("codec", info), "Linear PCM, 32-bit float");
}

} // namespace
} // namespace kx::test
