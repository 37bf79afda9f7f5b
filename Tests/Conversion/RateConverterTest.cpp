#include "KXFW/Platform/Conversion/RateConverter.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
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
};

constexpr RatePair kPairs[] = {{1000, 44100},  {8000, 44100},   {11025, 44100},  {22050, 44100},  {32000, 44100},
                               {44056, 44100}, {44100, 44100},  {47999, 44100},  {48000, 44100},  {88200, 44100},
                               {96000, 44100}, {176400, 44100}, {192000, 44100}, {384000, 44100}, {768000, 44100},
                               {44100, 48000}, {44100, 96000},  {44100, 22050},  {44100, 8000},   {48000, 96000},
                               {1000, 768000}, {768000, 1000}};

INSTANTIATE_TEST_SUITE_P(All, RateConverterRates, testing::ValuesIn(kPairs), [](const auto &pair) {
    return std::to_string(std::lround(pair.param.in)) + "to" + std::to_string(std::lround(pair.param.out));
});

TEST_P(RateConverterRates, NoLengthComesOutShort)
{
    const auto [in, out] = GetParam();
    const auto object = converter(in, out);
    for (std::size_t frames : {0, 1, 2, 3, 5, 17, 100, 441, 512, 999, 1000, 4096, 10007}) {
        object->reset();
        const auto made = static_cast<int64_t>(convert(*object, noise(frames)).size());
        EXPECT_GE(made, wholeFrames(frames, in, out)) << frames << " frames";
        EXPECT_LE(made, wholeFrames(frames, in, out) + 1) << frames << " frames";
    }
}

TEST_P(RateConverterRates, BlockSizesDoNotMatter)
{
    const auto [in, out] = GetParam();
    const Samples source = noise(5000);
    const auto object = converter(in, out);
    const Samples whole = convert(*object, source, 5000, 20000);
    for (uint32_t block : {37U, 512U, 777U, 4096U}) {
        object->reset();
        EXPECT_EQ(convert(*object, source, block, 4096), whole) << "input blocks of " << block;
        object->reset();
        EXPECT_EQ(convert(*object, source, 4096, block), whole) << "output blocks of " << block;
    }
}

} // namespace
