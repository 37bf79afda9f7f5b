#include "KXFW/Audio/KXOscillator.h"
#include "Tests/kxtool/Kxtool.h"

#include <cstring>
#include <gtest/gtest.h>

namespace kx::test
{
namespace
{

using Line = std::vector<std::string>;

Line synth(const std::string &output, const Line &rest = {}, const std::string &type = "sine",
           const std::string &seconds = "2")
{
    Line line{"synth", output, "--type", type, "--pitch", "441", "--amplitude", "-2.5", "--seconds", seconds};
    line.insert(line.end(), rest.begin(), rest.end());
    return line;
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
            kxtool(synth(output, {"--lfo-type", "triangle", "--lfo-pitch", "5", "--lfo-amplitude", "30"}, types[type]));
        EXPECT_EQ(result.status, 0) << result.errors;
        EXPECT_EQ(result.output + result.errors, "");
        const auto bytes = readBytes(output);
        ASSERT_GT(bytes.size(), samples.size() * 4) << types[type];
        EXPECT_EQ(std::memcmp(bytes.data() + bytes.size() - samples.size() * 4, samples.data(), samples.size() * 4), 0)
            << types[type];
    }
    const std::string info = kxtool({"info", output}).output;
    EXPECT_EQ(valueOf("file-channels", info), "1");
    EXPECT_EQ(valueOf("file-rate", info), "44100");
    EXPECT_EQ(valueOf("file-frames", info), "88200");
    EXPECT_EQ(valueOf("codec", info), "Linear PCM, 32-bit float");
}

TEST(Synth, TellsWrongUsageFromFailureInOneLineAndWritesNothing)
{
    const std::string out = temporaryPath("never.wav");
    const std::string outside = out + "/out.wav";
    struct Case {
        Line line;
        int status;
        std::string message;
    };
    const std::vector<Case> cases{
        {{"synth", out, "--type", "sine"}, 2, "required"},
        {synth(out, {}, "saw"), 2, "--type"},
        {synth(out, {}, "0"), 2, "--type"},
        {synth(out, {}, "sine", "-1"), 2, "--seconds"},
        {synth(out, {}, "sine", "24001"), 2, "--seconds"},
        {synth(out, {}, "sine", "nan"), 2, "--seconds"},
        {synth(out, {"--lfo-type", "sine"}), 2, "--lfo-"},
        {synth(out, {"--lfo-type", "sine", "--lfo-pitch", "5"}), 2, "--lfo-amplitude"},
        {synth(out, {"--lfo-type", "sine", "--lfo-pitch", "inf", "--lfo-amplitude", "1"}), 2, "--lfo-pitch"},
        {synth(out, {"--lfo-type", "sine", "--lfo-pitch", "5", "--lfo-amplitude", "1e9"}), 2, "--lfo-amplitude"},
        {synth(outside), 1, outside + ": "},
        {synth("/dev/full"), 1, "/dev/full: "},
        {synth(""), 1, ": "},
    };
    for (const Case &c : cases) {
        const ToolResult result = kxtool(c.line);
        EXPECT_EQ(result.status, c.status) << ::testing::PrintToString(c.line);
        EXPECT_TRUE(isOneLine(result.errors)) << ::testing::PrintToString(c.line) << '\n' << result.errors;
        EXPECT_NE(result.errors.find(c.message), std::string::npos) << result.errors;
        EXPECT_EQ(result.output, "");
    }
    EXPECT_FALSE(std::filesystem::exists(out));
}

} // namespace
} // namespace kx::test
