#include "KXFW/Platform/Conversion/RateConverter.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <numbers>
#include <random>
#include <span>
#include <vector>

namespace
{

using Samples = std::vector<float>;

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
    std::uniform_real_distribution<float> level(-0.5F, 0.5F);
    Samples samples(frames);
    std::generate(samples.begin(), samples.end(), [&] { return level(random); });
    return samples;
}

Samples negated(std::span<const float> samples)
{
    Samples result(samples.size());
    std::transform(samples.begin(), samples.end(), result.begin(), std::negate());
    return result;
}

/// Feeds `in` in blocks of `inBlock` frames, takes blocks of `outBlock`, tells the end, and takes the rest.
Samples convert(kx::RateConverter &object, std::span<const float> in, uint32_t inBlock = 4096, uint32_t outBlock = 4096)
{
    const Samples down = negated(in);
    Samples out[2];
    Samples block[2] = {Samples(outBlock), Samples(outBlock)};
    float *targets[] = {block[0].data(), block[1].data()};
    for (std::size_t used = 0;;) {
        const float *sources[] = {in.data() + used, down.data() + used};
        const bool ended = used == in.size();
        const auto offered = static_cast<uint32_t>(std::min<std::size_t>(in.size() - used, inBlock));
        const auto progress = object.process(ended ? nullptr : sources, offered, targets, outBlock);
        for (int c = 0; c < 2; ++c)
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
            const Samples other = noise(3000, 2);
            const float *sources[] = {other.data(), other.data()};
            Samples room(2 * 512);
            float *targets[] = {room.data(), room.data() + 512};
            object->reset();
            object->process(sources, 3000, targets, 512); // is forgotten on the way
            object->reset();
            EXPECT_EQ(convert(*object, source, inBlock, outBlock), whole)
                << "blocks of " << inBlock << ", " << outBlock;
        }
        if (in == out) {
            EXPECT_EQ(whole, source);
        }
    }
}

double sineLevel(double frame, double rate, double frequency)
{
    return 0.5 * std::sin(2 * std::numbers::pi * frequency / rate * frame);
}

/// The largest distance from the sine that `inFrames` samples, edges left out.
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
        worst = std::max(worst, std::abs(converted[n] - sineLevel(static_cast<double>(n), outRate, frequency)));
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
    constexpr double infinity = std::numeric_limits<double>::infinity();
    for (double rate : {0.0, -44100.0, 999.0, 768001.0, infinity, infinity - infinity})
        EXPECT_FALSE(kx::RateConverter::make(rate, 44100, 2, 512) || kx::RateConverter::make(44100, rate, 2, 512))
            << rate;
    for (uint32_t channels : {0U, 65U, 0xFFFFFFFFU})
        EXPECT_FALSE(kx::RateConverter::make(48000, 44100, channels, 512)) << channels;
    EXPECT_TRUE(kx::RateConverter::make(48000, 44100, 64, 512));
}

} // namespace
