#include "KXFW/Platform/Conversion/ChannelMix.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <numeric>
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

/// Sounds one input after the other, each in a frame of its own, and compares what reaches the left side.
void expectLeftShares(const std::vector<double> &shares)
{
    const std::size_t inputs = shares.size();
    Planes in(inputs, std::vector<float>(inputs));
    for (std::size_t i = 0; i < inputs; ++i)
        in[i][i] = 1;
    const Planes sides = mixed(2, in);
    const Planes mono = mixed(1, in);
    const double sum = std::accumulate(shares.begin(), shares.end(), 0.0);
    for (std::size_t i = 0; i < inputs; ++i) {
        EXPECT_NEAR(sides[0][i], shares[i] / sum, 1e-7) << inputs << " channels, input " << i;
        EXPECT_NEAR(mono[0][i], (sides[0][i] + sides[1][i]) / 2, 1e-7) << inputs << " channels, input " << i;
    }
    EXPECT_EQ(sides[1][1], sides[0][0]) << "both sides are scaled alike";
    EXPECT_EQ(sides[1][0], 0) << inputs;
}

TEST(ChannelMix, SurroundIsFoldedWithTheStandardShares)
{
    const double h = std::sqrt(0.5);
    expectLeftShares({1, 0});
    expectLeftShares({1, 0, h});
    expectLeftShares({1, 0, h, 0});
    expectLeftShares({1, 0, h, h, 0});
    expectLeftShares({1, 0, h, 0, h, 0});
    expectLeftShares({1, 0, h, 0, 0.5, h, 0});
    expectLeftShares({1, 0, h, 0, h, 0, h, 0});
    expectLeftShares({1, 0, 1, 0, 1, 0, 1, 0, 1, 0}); // beyond eight channels the sides alternate
}

TEST(ChannelMix, NothingClipsAndMonoReachesEveryChannelUnchanged)
{
    for (uint32_t inputs = 1; inputs <= 64; ++inputs)
        for (uint32_t outputs : {1U, 2U})
            for (float level : {1.0F, -1.0F})
                for (const auto &plane : mixed(outputs, Planes(inputs, std::vector<float>(3, level))))
                    EXPECT_LE(std::abs(plane[2]), 1.0F + 1e-6F) << inputs << " to " << outputs;
    const std::vector<float> mono{0.1F, -1.0F, 0.7F, 1.5F, -0.0F};
    for (uint32_t outputs : {1U, 2U, 6U, 64U})
        for (const auto &plane : mixed(outputs, {mono}))
            EXPECT_EQ(plane, mono) << outputs;
}

TEST(ChannelMix, OtherCountsCopyWhatFitsAndSilenceTheRest)
{
    const Planes three{{0.1F}, {0.2F}, {0.3F}};
    EXPECT_EQ(mixed(5, three), (Planes{{0.1F}, {0.2F}, {0.3F}, {0}, {0}}));
    EXPECT_EQ(mixed(3, three), three);
    EXPECT_EQ(mixed(3, {{0.1F}, {0.2F}, {0.3F}, {0.4F}}), three);
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

} // namespace
