#include "KXFW/Platform/Conversion/ChannelMix.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <vector>

namespace
{

using Planes = std::vector<std::vector<float>>;

Planes mixed(uint32_t outputs, const Planes &in)
{
    const std::size_t frames = in.front().size();
    Planes out(outputs, std::vector<float>(frames, 99.0F));
    std::vector<const float *> sources;
    std::vector<float *> targets;
    for (const auto &plane : in)
        sources.push_back(plane.data());
    for (auto &plane : out)
        targets.push_back(plane.data());
    kx::ChannelMix(static_cast<uint32_t>(in.size()), outputs)
        .apply(sources.data(), targets.data(), static_cast<uint32_t>(frames));
    return out;
}

/// What each input contributes to output `output`, found by sounding one input after the other.
std::vector<float> gainsOf(uint32_t inputs, uint32_t outputs, uint32_t output)
{
    std::vector<float> gains;
    for (uint32_t i = 0; i < inputs; ++i) {
        Planes in(inputs, std::vector<float>(1));
        in[i][0] = 1;
        gains.push_back(mixed(outputs, in)[output][0]);
    }
    return gains;
}

void expectGains(uint32_t outputs, uint32_t output, const std::vector<double> &shares)
{
    double sum = 0;
    for (double share : shares)
        sum += share;
    const auto gains = gainsOf(static_cast<uint32_t>(shares.size()), outputs, output);
    for (std::size_t i = 0; i < shares.size(); ++i)
        EXPECT_NEAR(gains[i], shares[i] / sum, 1e-7) << shares.size() << " channels, input " << i;
}

TEST(ChannelMix, SurroundIsFoldedWithTheStandardShares)
{
    const double h = std::sqrt(0.5);
    expectGains(2, 0, {1, 0, h});
    expectGains(2, 1, {0, 1, h});
    expectGains(2, 0, {1, 0, h, 0});
    expectGains(2, 1, {0, 1, 0, h});
    expectGains(2, 0, {1, 0, h, h, 0});
    expectGains(2, 1, {0, 1, h, 0, h});
    expectGains(2, 0, {1, 0, h, 0, h, 0});
    expectGains(2, 1, {0, 1, h, 0, 0, h});
    expectGains(2, 0, {1, 0, h, 0, 0.5, h, 0});
    expectGains(2, 1, {0, 1, h, 0, 0.5, 0, h});
    expectGains(2, 0, {1, 0, h, 0, h, 0, h, 0});
    expectGains(2, 1, {0, 1, h, 0, 0, h, 0, h});
}

TEST(ChannelMix, BeyondEightChannelsTheSidesAlternate)
{
    expectGains(2, 0, {1, 0, 1, 0, 1, 0, 1, 0, 1, 0});
    expectGains(2, 1, {0, 1, 0, 1, 0, 1, 0, 1, 0, 1});
}

TEST(ChannelMix, NothingClipsAndBothSidesAreScaledAlike)
{
    for (uint32_t inputs = 1; inputs <= 64; ++inputs)
        for (uint32_t outputs : {1U, 2U})
            for (float level : {1.0F, -1.0F}) {
                const Planes out = mixed(outputs, Planes(inputs, std::vector<float>(3, level)));
                for (const auto &plane : out)
                    EXPECT_LE(std::abs(plane[2]), 1.0F + 1e-6F) << inputs << " to " << outputs;
                if (outputs == 2) {
                    const float side = gainsOf(inputs, 2, 0)[0];
                    EXPECT_EQ(inputs == 1 ? side : gainsOf(inputs, 2, 1)[1], side) << inputs;
                }
            }
}

TEST(ChannelMix, MonoReachesEveryChannelUnchanged)
{
    const std::vector<float> mono{0.1F, -1.0F, 0.7F, 1.5F, -0.0F};
    for (uint32_t outputs : {1U, 2U, 6U, 64U})
        for (const auto &plane : mixed(outputs, {mono}))
            EXPECT_EQ(plane, mono) << outputs;
}

TEST(ChannelMix, ToMonoIsTheMeanOfTheStereoMix)
{
    expectGains(1, 0, {1, 1});
    const Planes stereo{{0.5F, -0.25F}, {0.25F, -0.75F}};
    EXPECT_EQ(mixed(1, stereo)[0], (std::vector<float>{0.375F, -0.5F}));
    const auto mono = gainsOf(6, 1, 0);
    for (uint32_t i = 0; i < 6; ++i)
        EXPECT_NEAR(mono[i], (gainsOf(6, 2, 0)[i] + gainsOf(6, 2, 1)[i]) / 2, 1e-7);
}

TEST(ChannelMix, OtherCountsCopyWhatFitsAndSilenceTheRest)
{
    const Planes three{{0.1F}, {0.2F}, {0.3F}};
    EXPECT_EQ(mixed(5, three), (Planes{{0.1F}, {0.2F}, {0.3F}, {0}, {0}}));
    EXPECT_EQ(mixed(3, three), three);
    EXPECT_EQ(mixed(3, {{0.1F}, {0.2F}, {0.3F}, {0.4F}}), three);
    EXPECT_EQ(mixed(4, {{0.1F}, {0.2F}}), (Planes{{0.1F}, {0.2F}, {0}, {0}}));
    EXPECT_TRUE(kx::ChannelMix(3, 3).isIdentity());
    EXPECT_FALSE(kx::ChannelMix(2, 1).isIdentity());
}

TEST(ChannelMix, WhatIsLeftOutCannotBeHeard)
{
    Planes in(6, std::vector<float>(4, 0.5F));
    const Planes clean = mixed(2, in);
    in[3].assign(4, std::numeric_limits<float>::quiet_NaN());
    EXPECT_EQ(mixed(2, in), clean);
}

TEST(ChannelMix, EveryFrameIsMixedLikeAFrameAlone)
{
    std::mt19937 random(5);
    std::uniform_real_distribution<float> level(-1, 1);
    for (uint32_t inputs : {2U, 3U, 6U, 8U, 11U})
        for (std::size_t frames : {1U, 7U, 513U}) {
            Planes in(inputs, std::vector<float>(frames));
            for (auto &plane : in)
                for (float &sample : plane)
                    sample = level(random);
            const Planes all = mixed(2, in);
            Planes last;
            for (const auto &plane : in)
                last.push_back({plane.back()});
            EXPECT_EQ(mixed(2, last)[0][0], all[0].back()) << inputs << " channels, " << frames << " frames";
            EXPECT_EQ(mixed(2, last)[1][0], all[1].back()) << inputs << " channels, " << frames << " frames";
        }
}

} // namespace
