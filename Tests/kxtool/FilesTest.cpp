#include "KXFW/Audio/KXAudioUtil.h"
#include "KXFW/Audio/KXOscillator.h"
#include "Tests/Support/HostileBytes.h"
#include "Tests/kxtool/Kxtool.h"

#include <cstring>
#include <gtest/gtest.h>
#include <sstream>
#include <tuple>

namespace kx::test
{
namespace
{

TEST(Info, TellsLengthRateChannelsAndCodec)
{
    // What is made; client frames, trunc(frames x 44,100 / rate); seconds; codec.
    const std::tuple<Media, const char *, const char *, const char *> cases[] = {
        {{.rate = 48000, .channels = 1, .frames = 48001, .bits = 24},
         "44100",
         "1.000021",
         "Linear PCM, 24-bit integer"},
        {{.rate = 22050, .frames = 11025, .bits = 32, .floats = true}, "22050", "0.500000", "Linear PCM, 32-bit float"},
        {{.codec = Codec::FLAC, .frames = 30000}, "30000", "0.680272", "FLAC, 16-bit"},
        {{.codec = Codec::MP3, .frames = 50000}, "50000", "1.133787", "MP3"},
        {{.codec = Codec::AAC, .frames = 44100}, "44100", "1.000000", "AAC"},
        {{.frames = 0}, "0", "0.000000", "Linear PCM, 16-bit integer"},
    };
    for (const auto &[media, frames, duration, codec] : cases) {
        std::ostringstream expected;
        expected << "file-frames: " << media.frames << "\nfile-rate: " << media.rate
                 << "\nfile-channels: " << media.channels << "\nframes: " << frames << "\nduration: " << duration
                 << "\ncodec: " << codec << '\n';
        EXPECT_EQ(kxtool({"info", make(media)}).output, expected.str());
    }
}

TEST(Formats, ThoseOfAModuleAreListedWhereItIsInstalled)
{
    const auto folder = temporaryPath("library");
    std::filesystem::create_directory(folder);
    std::filesystem::copy(std::filesystem::path(KXTOOL_PATH).parent_path() / "../lib/libKXFW.so.1", folder);
    const std::string all = kxtool({"formats"}).output;
    const std::string without = runTool({"env", "LD_LIBRARY_PATH=" + folder.string(), KXTOOL_PATH, "formats"}).output;
    EXPECT_NE(all.find("MPEG-4\tm4a m4b mp4\taudio/mp4 audio/x-m4a audio/x-m4b\n"), std::string::npos) << all;
    EXPECT_TRUE(without.starts_with("WAVE\twav ") && without.find("MPEG-4") == std::string::npos) << without;
}

TEST(Devices, ShowsTheVirtualDeviceAsTheDefaultOutput)
{
    const ToolResult result = kxtool({"devices"});
    EXPECT_TRUE(result.status == 0 && isOneLine(result.output)) << result.output;
    EXPECT_NE(result.output.find("\tdefault output\tvirtual\n"), std::string::npos) << result.output;
}

TEST(Devices, AreVirtualWhereTheSoundSystemsLibraryIsNoGood)
{
    const auto folder = temporaryPath("libraries");
    std::filesystem::create_directory(folder);
    writeBytes(folder / "libpulse.so.0", {});
    const ToolResult result =
        runTool({"env", "KXFW_AUDIO_BACKEND=pulse", "LD_LIBRARY_PATH=" + folder.string(), KXTOOL_PATH, "devices"});
    EXPECT_NE(result.output.find("\tvirtual\n"), std::string::npos) << result.output;
    EXPECT_TRUE(isOneLine(result.errors)) << result.errors;
}

TEST(Decode, WritesTheFramesThatAreAskedForByteForByteAndNoneBeyondTheEnd)
{
    const Media media{.frames = 300001}; // more than one pre-read of 262,144 frames
    const auto all = bigEndian(samples(media));
    const std::tuple<Line, std::size_t, std::size_t> cases[] = {
        {{}, 0, 300001},
        {{"--frames", "1"}, 0, 1},
        {{"--from", "12345", "--frames", "678"}, 12345, 13023},
        {{"--from", "1.5", "--frames", "0:0:02.25"}, 66150, 165375},
        {{"--from", "3s", "--frames", "1:37.5"}, 132300, 300001},
        {{"--from", "299991", "--frames", "4000"}, 299991, 300001},
        {{"--from", "300001"}, 300001, 300001}};
    for (const auto &[options, from, end] : cases)
        EXPECT_EQ(decoded(make(media), options), part(all, from * 4, end * 4)) << testing::PrintToString(options);
}

TEST(Decode, ReplacesAFileThroughLinksAndWritesToPipes)
{
    const auto folder = temporaryPath("replace");
    std::filesystem::create_directory(folder);
    const auto target = folder / "target.raw";
    writeBytes(target, {1, 2, 3});
    std::filesystem::permissions(target, std::filesystem::perms{0604});
    std::filesystem::create_symlink("target.raw", folder / "link.raw");
    const std::string file = make({.frames = 10});
    EXPECT_EQ(kxtool({"decode", file, folder / "link.raw"}).status, 0);
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "link.raw"));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 2);
    EXPECT_EQ(readBytes(target).size(), 40U);
    EXPECT_EQ(std::filesystem::status(target).permissions(), std::filesystem::perms{0604});
    EXPECT_EQ(kxtool({"decode", file, "/dev/stdout"}).output.size(), 40U);
}

TEST(Tone, MakesTheTestFileThatFormatDescribes)
{
    const auto folder = temporaryPath("tone");
    std::filesystem::create_directory(folder);
    const std::string file = folder / "linear_dont_play.wav";
    EXPECT_EQ(kxtool({"tone", folder}).output, file + "\n");
    const auto description = temporaryPath("tone.plist");
    EXPECT_EQ(kxtool({"format", file, "--save", description}).output,
              "sampleRate:44100.000000\nformatID:6c70636d\nformatFlag:12\nbytesPerPacket:4\n"
              "framesPerPacket:1\nbytesPerFrame:4\nchannelsPerFrame:2\nbitsPerChannel:16\nreserved:0\n"
              "is not float\nis not big endian\nis signed integer\nis packed\nis not aligned high\n"
              "is interleaved\n");
    const AudioStreamBasicDescription saved = KXAudioUtil::loadDescription(description);
    EXPECT_TRUE(EqualASBDs(saved, {44100, kAudioFormatLinearPCM, 12, 4, 1, 4, 2, 16, 0}));
}

TEST(Synth, WritesTheSamplesOfTheOscillatorBitForBit)
{
    const std::string output = temporaryPath("synth.wav");
    const Line types{"sine", "triangle", "square", "noise", "constant"};
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
        EXPECT_EQ(result.output + result.errors, "");
        EXPECT_EQ(valueOf("file-frames", kxtool({"info", output}).output), "88200");
        const auto bytes = readBytes(output);
        ASSERT_GT(bytes.size(), samples.size() * 4) << types[type];
        EXPECT_EQ(std::memcmp(bytes.data() + bytes.size() - samples.size() * 4, samples.data(), samples.size() * 4), 0)
            << types[type];
    }
}

} // namespace
} // namespace kx::test
