// What mixes channels and changes rates.
#include "KXFW/Platform/Conversion/ChannelMix.h"
#include "KXFW/Platform/Conversion/RateConverter.h"
#include "KXFW/Platform/Conversion/SincInterpolator.h"
#include "KXFW/Platform/Conversion/SincKernel.h"
#include "Tests/Conversion/TestPlanes.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <numbers>
#include <numeric>
#include <random>
#include <vector>

namespace
{

using Samples = std::vector<float>;
using Planes = kx::test::TestPlanes;
using kx::test::pointersTo;

Planes mixed(uint32_t outputs, Planes in)
{
    Planes out(outputs, std::vector<float>(in[0].size(), 99.0F));
    kx::ChannelMix(static_cast<uint32_t>(in.size()), outputs)
        .apply(pointersTo(in).data(), pointersTo(out).data(), static_cast<uint32_t>(in[0].size()));
    return out;
}

/// Sounds one input after the other, each in a frame of its own, and all of them at once in the last.
Planes eachAlone(std::size_t inputs)
{
    Planes in(inputs, std::vector<float>(inputs + 1));
    for (std::size_t i = 0; i < inputs; ++i)
        in[i][i] = in[i][inputs] = 1;
    return in;
}

TEST(ChannelMix, SurroundIsFoldedWithTheStandardSharesOfTheLeftSide)
{
    const double h = std::sqrt(0.5);
    for (const std::vector<double> &shares : {std::vector<double>{1, 0},
                                              {1, 0, h},
                                              {1, 0, h, 0},
                                              {1, 0, h, h, 0},
                                              {1, 0, h, 0, h, 0},
                                              {1, 0, h, 0, 0.5, h, 0},
                                              {1, 0, h, 0, h, 0, h, 0},
                                              {1, 0, 1, 0, 1, 0, 1, 0, 1, 0}}) {
        SCOPED_TRACE(testing::Message() << shares.size() << " channels");
        const Planes sides = mixed(2, eachAlone(shares.size()));
        const Planes mono = mixed(1, eachAlone(shares.size()));
        const double sum = std::accumulate(shares.begin(), shares.end(), 0.0);
        for (std::size_t i = 0; i < shares.size(); ++i) {
            EXPECT_NEAR(sides[0][i], shares[i] / sum, 1e-7) << "input " << i;
            EXPECT_NEAR(mono[0][i], (sides[0][i] + sides[1][i]) / 2, 1e-7) << "input " << i;
        }
        EXPECT_EQ(sides[1][1], sides[0][0]) << "both sides are scaled alike";
        EXPECT_LE(std::max(sides[0].back(), sides[1].back()), 1.0F + 1e-6F) << "nothing clips";
    }
    EXPECT_EQ(mixed(2, eachAlone(4))[1][2], 0) << "four channels have no centre";
    Planes noisy = eachAlone(6);
    noisy[3].assign(7, std::nanf("")); // of low frequencies
    for (const auto &plane : mixed(2, noisy))
        EXPECT_TRUE(std::isfinite(plane[3])) << "what is left out cannot be heard";
}

TEST(ChannelMix, OtherCountsCopyWhatFitsAndSilenceTheRest)
{
    const Planes three{{0.1F}, {0.2F}, {0.3F}};
    EXPECT_EQ(mixed(5, three), (Planes{{0.1F}, {0.2F}, {0.3F}, {0}, {0}}));
    EXPECT_EQ(mixed(3, {{0.1F}, {0.2F}, {0.3F}, {0.4F}}), three);
    EXPECT_EQ(mixed(6, {{-1.5F}}), Planes(6, {-1.5F})) << "mono reaches every channel";
}

/// A converter of two channels, the second of which always gets the first one upside down.
std::unique_ptr<kx::RateConverter> converter(double inRate, double outRate)
{
    auto made = kx::RateConverter::make(inRate, outRate, 2, 4096);
    EXPECT_TRUE(made) << inRate << " -> " << outRate;
    return *std::move(made);
}

Samples noise(std::size_t frames, uint32_t seed = 1)
{
    std::mt19937 random(seed);
    Samples samples(frames);
    std::generate(samples.begin(), samples.end(), [&] { return static_cast<float>(random()) * 0x1p-32F - 0.5F; });
    return samples;
}

Samples negated(Samples samples)
{
    std::transform(samples.begin(), samples.end(), samples.begin(), std::negate());
    return samples;
}

/// Feeds `in` in blocks of `inBlock` frames, takes blocks of `outBlock`, tells the end, and takes the rest.
Samples convert(kx::RateConverter &object, const Samples &in, uint32_t inBlock = 4096, uint32_t outBlock = 4096)
{
    const Samples down = negated(in);
    Planes out(2);
    Planes block(2, Samples(outBlock));
    for (std::size_t used = 0;;) {
        const float *sources[] = {in.data() + used, down.data() + used};
        const bool ended = used == in.size();
        const auto offered = static_cast<uint32_t>(std::min<std::size_t>(in.size() - used, inBlock));
        const auto progress = object.process(ended ? nullptr : sources, offered, pointersTo(block).data(), outBlock);
        for (std::size_t c = 0; c < 2; ++c)
            out[c].insert(out[c].end(), block[c].begin(), block[c].begin() + progress.outputMade);
        used += progress.inputUsed;
        if (ended && progress.outputMade == 0)
            break;
    }
    EXPECT_EQ(out[1], negated(out[0])) << "the channels mix";
    return out[0];
}

constexpr std::pair<double, double> kPairs[] = {
    {8000, 44100},   {11025, 44100}, {44056, 44100}, {44100, 44100}, {47999, 44100}, {48000, 44100}, {88200, 44100},
    {192000, 44100}, {44100, 48000}, {44100, 96000}, {44100, 8000},  {1000, 768000}, {768000, 1000}};

TEST(RateConverter, LengthsAreExactBlockSizesDoNotMatterAndResetForgets)
{
    for (const auto &[in, out] : kPairs) {
        SCOPED_TRACE(testing::Message() << in << " to " << out);
        const auto object = converter(in, out);
        for (const std::size_t frames : {0U, 1U, 2U, 17U, 441U, 512U, 5000U}) {
            const auto made = convert(*object, noise(frames)).size();
            EXPECT_EQ(made, std::ceil(static_cast<double>(frames) * out / in)) << frames << " frames";
            object->reset();
        }
        const Samples source = noise(5000);
        const Samples whole = convert(*object, source, 5000, 20000);
        for (const auto &[inBlock, outBlock] : {std::pair{37U, 4096U}, {777U, 4096U}, {4096U, 37U}, {512U, 777U}}) {
            Planes other(2, noise(3000, 2));
            Planes room(2, Samples(512));
            object->reset();
            object->process(pointersTo(other).data(), 3000, pointersTo(room).data(), 512); // is forgotten
            object->reset();
            EXPECT_EQ(convert(*object, source, inBlock, outBlock), whole) << inBlock << ", " << outBlock;
        }
        if (in == out) {
            EXPECT_EQ(whole, source);
        }
    }
}

/// The largest distance from the sine that `inFrames` samples of it should become, edges left out.
double worstSineError(double inRate, double outRate, std::size_t inFrames)
{
    const auto sine = [frequency = std::min(inRate, outRate) * 0.11](std::size_t frame, double rate) {
        return 0.5 * std::sin(2 * std::numbers::pi * frequency / rate * static_cast<double>(frame));
    };
    Samples source(inFrames);
    for (std::size_t n = 0; n < inFrames; ++n)
        source[n] = static_cast<float>(sine(n, inRate));
    const Samples converted = convert(*converter(inRate, outRate), source);
    double worst = 0;
    const auto edge = static_cast<std::size_t>(200 * std::max(1.0, outRate / inRate));
    for (std::size_t n = edge; n + edge < converted.size(); ++n)
        worst = std::max(worst, std::abs(converted[n] - sine(n, outRate)));
    return worst;
}

TEST(RateConverter, ASineKeepsItsPlaceAndLevel)
{
    for (const auto &[in, out] : kPairs)
        EXPECT_LE(worstSineError(in, out, static_cast<std::size_t>(2000 * std::max(1.0, in / out))), 2e-7)
            << in << " to " << out;
    EXPECT_LE(worstSineError(47999, 44100, 20 * 47999), 2e-7) << "the position creeps";
}

TEST(RateConverter, RefusesRatesAndChannelsOutOfRange)
{
    for (const double rate : {0.0, -44100.0, 999.0, 768001.0, HUGE_VAL, std::nan("")})
        EXPECT_FALSE(kx::RateConverter::make(rate, 44100, 2, 512) || kx::RateConverter::make(44100, rate, 2, 512))
            << rate;
    for (const uint32_t channels : {0U, 65U, 0xFFFFFFFFU})
        EXPECT_FALSE(kx::RateConverter::make(48000, 44100, channels, 512)) << channels;
    EXPECT_TRUE(kx::RateConverter::make(48000, 44100, 64, 512));
}

/// Reads a sine of `frequency` (in parts of the sample rate) at `speed` and gives the power of what is not the sine
/// that should come, or, where that lies above the half rate, of all of it: in dB against a full sine.
double interpolationError(double frequency, double speed)
{
    constexpr uint32_t kFrames = 4000;
    constexpr uint32_t kBefore = kx::SincInterpolator::kReach;
    constexpr uint32_t kThird = 0x55555555;
    const auto sine = [frequency](double place) { return std::sin(2 * std::numbers::pi * frequency * place); };
    Samples source(kBefore * 2 + 4 * kFrames + 1);
    for (std::size_t i = 0; i < source.size(); ++i)
        source[i] = static_cast<float>(sine(static_cast<double>(i)));
    const Samples down = negated(source);
    const float *const in[] = {source.data() + kBefore, down.data() + kBefore};
    Planes read(2, Samples(kFrames));
    const auto step = static_cast<uint64_t>(std::llround(speed * kx::SincInterpolator::kOne));
    kx::SincInterpolator().read(in, 2, kThird, step, pointersTo(read).data(), kFrames);
    EXPECT_EQ(read[1], negated(read[0])) << "the channels mix";
    double power = 0;
    for (uint32_t i = 0; i < kFrames; ++i) {
        const double passed =
            (kThird + static_cast<double>(i) * static_cast<double>(step)) / kx::SincInterpolator::kOne;
        const double error = read[0][i] - (frequency * speed < 0.5 ? sine(kBefore + passed) : 0);
        power += error * error;
    }
    return 10 * std::log10(2 * power / kFrames);
}

#ifdef __x86_64__
using ReadPair = void (*)(const kx::PairRead &pair, uint64_t place, uint64_t step, uint32_t frames);

void readInSSE2(const kx::PairRead &pair, uint64_t place, uint64_t step, uint32_t frames)
{
    kx::readPair(pair, place, step, frames);
}

[[gnu::target("avx2,fma")]] void readInAVX2(const kx::PairRead &pair, uint64_t place, uint64_t step, uint32_t frames)
{
    kx::readPair(pair, place, step, frames);
}

[[gnu::target("avx512f,fma")]] void readInAVX512(const kx::PairRead &pair, uint64_t place, uint64_t step,
                                                 uint32_t frames)
{
    kx::readPair(pair, place, step, frames);
}

TEST(SincInterpolator, GivesTheSameBitsInEveryInstructionSet)
{
    constexpr uint32_t kTaps = 64;
    constexpr uint32_t kFrames = 500;
    std::mt19937 random(3);
    std::uniform_real_distribution<float> sample(-1, 1);
    const auto noise = [&](std::size_t count) {
        std::vector<float> samples(count);
        std::ranges::generate(samples, [&] { return sample(random); });
        return samples;
    };
    const auto rows = noise(257 * kTaps);
    const auto left = noise(2000);
    const auto right = noise(2000);
    const auto soundOf = [&](ReadPair read) {
        std::vector<float> sound(2 * kFrames);
        read({rows.data(), 8, kTaps, {&left[kTaps], &right[kTaps]}, {sound.data(), sound.data() + kFrames}}, 12345,
             0x2B3C4D5E6, kFrames);
        return sound;
    };
    const auto expected = soundOf(readInSSE2);
    EXPECT_TRUE(!__builtin_cpu_supports("avx2") || soundOf(readInAVX2) == expected);
    EXPECT_TRUE(!__builtin_cpu_supports("avx512f") || soundOf(readInAVX512) == expected);
}
#endif

TEST(SincInterpolator, GivesTheSignalBetweenItsSamplesAndLetsNothingFoldBack)
{
    for (const double speed : {0.25, 0.7491535, 1.0, 1.0594631, 2.0, 4.0})
        for (const double frequency : {0.001, 0.05, 0.2, 0.39})
            if (frequency * speed < 0.4 || frequency * speed > 0.5) {
                EXPECT_LT(interpolationError(frequency, speed), -80) << "speed " << speed << " at " << frequency;
            }
}

} // namespace
