#include "KXFW/Platform/Conversion/RateConverter.h"

#include "KXFW/Platform/AudioUnits/RenderScope.h"
#include "Tests/Support/RenderGuard.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <numbers>
#include <numeric>
#include <random>
#include <span>
#include <string>
#include <vector>

namespace
{

using Samples = std::vector<float>;

std::unique_ptr<kx::RateConverter> converter(double inRate, double outRate, uint32_t channels = 1)
{
    auto made = kx::RateConverter::make(inRate, outRate, channels, 4096);
    EXPECT_TRUE(made) << inRate << " -> " << outRate;
    return *std::move(made);
}

Samples noise(std::size_t frames, uint32_t seed = 1)
{
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> level(-0.5F, 0.5F);
    Samples samples(frames);
    std::generate(samples.begin(), samples.end(), [&] { return level(random); });
    return samples;
}

/// Feeds `in` in blocks of `inBlock` frames, takes blocks of `outBlock`, tells the end, and takes the rest.
Samples convert(kx::RateConverter &object, std::span<const float> in, uint32_t inBlock = 4096, uint32_t outBlock = 4096)
{
    Samples out;
    Samples block(outBlock);
    float *targets[] = {block.data()};
    for (;;) {
        const float *sources[] = {in.data()};
        const bool ended = in.empty();
        const auto offered = static_cast<uint32_t>(std::min<std::size_t>(in.size(), inBlock));
        const auto progress = object.process(ended ? nullptr : sources, offered, targets, outBlock);
        out.insert(out.end(), block.begin(), block.begin() + progress.outputMade);
        in = in.subspan(progress.inputUsed);
        if (ended && progress.outputMade == 0)
            return out;
    }
}

int64_t wholeFrames(std::size_t frames, double inRate, double outRate)
{
    return static_cast<int64_t>(frames) * std::llround(outRate) / std::llround(inRate);
}

struct RatePair {
    double in;
    double out;
};

class RateConverterRates : public testing::TestWithParam<RatePair>
{
protected:
    const double in = GetParam().in;
    const double out = GetParam().out;
};

constexpr RatePair kPairs[] = {{8000, 44100},  {11025, 44100}, {44056, 44100},  {44100, 44100}, {47999, 44100},
                               {48000, 44100}, {88200, 44100}, {192000, 44100}, {44100, 48000}, {44100, 96000},
                               {44100, 8000},  {1000, 768000}, {768000, 1000}};

INSTANTIATE_TEST_SUITE_P(All, RateConverterRates, testing::ValuesIn(kPairs), [](const auto &pair) {
    return std::to_string(std::lround(pair.param.in)) + "to" + std::to_string(std::lround(pair.param.out));
});

TEST_P(RateConverterRates, NoLengthComesOutShort)
{
    const auto object = converter(in, out);
    for (std::size_t frames : {0U, 1U, 2U, 3U, 5U, 17U, 100U, 441U, 512U, 999U, 1000U, 4096U, 10007U}) {
        object->reset();
        const auto made = static_cast<int64_t>(convert(*object, noise(frames)).size());
        EXPECT_GE(made, wholeFrames(frames, in, out)) << frames << " frames";
        EXPECT_LE(made, wholeFrames(frames, in, out) + 1) << frames << " frames";
    }
}

TEST_P(RateConverterRates, BlockSizesDoNotMatterAndResetForgets)
{
    const Samples source = noise(5000);
    const Samples other = noise(2999, 2);
    const auto object = converter(in, out);
    const auto forget = [&](uint32_t block) {
        Samples room(block);
        const float *sources[] = {other.data()};
        float *targets[] = {room.data()};
        object->process(sources, block % 2999, targets, block);
        object->reset();
    };
    const Samples whole = convert(*object, source, 5000, 20000);
    object->reset();
    for (uint32_t block : {37U, 512U, 777U, 4096U}) {
        forget(block);
        EXPECT_EQ(convert(*object, source, block, 4096), whole) << "input blocks of " << block;
        object->reset();
        forget(block);
        EXPECT_EQ(convert(*object, source, 4096, block), whole) << "output blocks of " << block;
        object->reset();
    }
    if (in == out) {
        EXPECT_EQ(whole, source);
    }
}

TEST_P(RateConverterRates, ARestartRepeatsTheStraightConversion)
{
    const auto object = converter(in, out);
    const auto step = std::llround(in) / std::gcd(std::llround(in), std::llround(out));
    const auto preroll = std::llround(1100 * std::max(1.0, in / out));
    const Samples source = noise(static_cast<std::size_t>(3 * (step + preroll)));
    const Samples straight = convert(*object, source);
    std::mt19937 random(3);
    for (int i = 0; i < 12; ++i) {
        const auto wanted = static_cast<int64_t>(random() % straight.size());
        const auto place = object->restartFor(wanted);
        ASSERT_GE(place.drop, 0);
        ASSERT_LE(static_cast<std::size_t>(place.input), source.size());
        object->reset();
        const Samples again = convert(*object, std::span(source).subspan(static_cast<std::size_t>(place.input)));
        // Between some rates the library's blocks fall elsewhere, which shows in the last bit of a float.
        float worst = 0;
        for (auto n = static_cast<std::size_t>(wanted); n < straight.size(); ++n)
            worst =
                std::max(worst, std::abs(straight[n] - again.at(n - static_cast<std::size_t>(wanted - place.drop))));
        EXPECT_LE(worst, 6e-8F) << "output frame " << wanted << " from input frame " << place.input;
    }
}

TEST_P(RateConverterRates, ProcessDoesNotAllocate)
{
    constexpr uint32_t kMost = 4096;
    constexpr uint32_t kRoom = 1 << 15;
    if (!kx::test::RenderGuard::works() || out / in > 48) // beyond what is promised
        GTEST_SKIP();
    const auto object = converter(in, out, 2);
    const Samples source = noise(2 * kMost);
    const float *sources[] = {source.data(), source.data() + kMost};
    Samples made(2 * kRoom);
    float *targets[] = {made.data(), made.data() + kRoom};
    std::mt19937 random(4);
    const auto upTo = [&](uint32_t limit) { return static_cast<uint32_t>(random() % (limit + 1)); };
    for (const uint32_t most : {kMost, 600U, 7U}) {
        const kx::test::RenderGuard guard;
        {
            const kx::RenderScope rendering;
            for (int i = 0; i < 2000; ++i)
                object->process(i == 1999 ? nullptr : sources, upTo(most), targets, upTo(upTo(3) == 0 ? kRoom : 600));
        }
        EXPECT_TRUE(guard.isClean()) << guard << ", blocks of up to " << most;
        object->reset();
    }
}

double sineLevel(double frame, double rate, double frequency)
{
    return 0.5 * std::sin(2 * std::numbers::pi * frequency / rate * frame);
}

/// The largest distance from the sine that `in` samples, over the output frames from `first` on, edges left out.
double worstSineError(double inRate, double outRate, std::size_t inFrames)
{
    const double frequency = std::min(inRate, outRate) * 0.11;
    Samples source(inFrames);
    for (std::size_t n = 0; n < inFrames; ++n)
        source[n] = static_cast<float>(sineLevel(static_cast<double>(n), inRate, frequency));
    const Samples converted = convert(*converter(inRate, outRate), source);
    double worst = 0;
    const auto edge = static_cast<std::size_t>(200 * std::max(1.0, outRate / inRate));
    for (std::size_t n = edge; n + edge < converted.size(); ++n)
        worst = std::max(
            worst, std::abs(static_cast<double>(converted[n]) - sineLevel(static_cast<double>(n), outRate, frequency)));
    return worst;
}

TEST_P(RateConverterRates, ASineKeepsItsPlaceAndLevel)
{
    EXPECT_LE(worstSineError(in, out, static_cast<std::size_t>(2000 * std::max(1.0, in / out))), 2e-7);
}

TEST(RateConverter, BetweenOddRatesThePositionDoesNotCreep)
{
    EXPECT_LE(worstSineError(47999, 44100, 20 * 47999), 2e-7);
}

TEST(RateConverter, ChannelsDoNotMix)
{
    const Samples source = noise(4096);
    const Samples other = noise(4096, 2);
    const auto object = converter(48000, 44100, 3);
    Samples out[3] = {Samples(4096), Samples(4096), Samples(4096)};
    const float *sources[] = {source.data(), other.data(), source.data()};
    float *targets[] = {out[0].data(), out[1].data(), out[2].data()};
    const auto progress = object->process(sources, 4096, targets, 4096);
    EXPECT_EQ(progress.inputUsed, 4096U);
    EXPECT_EQ(out[0], out[2]);
    const Samples alone = convert(*converter(48000, 44100), other);
    ASSERT_LE(progress.outputMade, alone.size());
    EXPECT_TRUE(std::equal(out[1].begin(), out[1].begin() + progress.outputMade, alone.begin()));
}

TEST(RateConverter, RefusesRatesAndChannelsOutOfRange)
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    for (double rate : {0.0, -44100.0, 999.0, 768001.0, infinity, infinity - infinity}) {
        EXPECT_FALSE(kx::RateConverter::make(rate, 44100, 2, 512)) << rate;
        EXPECT_FALSE(kx::RateConverter::make(44100, rate, 2, 512)) << rate;
    }
    for (uint32_t channels : {0U, 65U, 0xFFFFFFFFU})
        EXPECT_FALSE(kx::RateConverter::make(48000, 44100, channels, 512)) << channels;
    EXPECT_TRUE(kx::RateConverter::make(48000, 44100, 64, 512));
}

} // namespace
