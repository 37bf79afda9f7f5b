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
        const Planes sides = mixed(2, eachAlone(shares.size()));
        const Planes mono = mixed(1, eachAlone(shares.size()));
        const double sum = std::accumulate(shares.begin(), shares.end(), 0.0);
        for (std::size_t i = 0; i < shares.size(); ++i) {
            EXPECT_NEAR(sides[0][i], shares[i] / sum, 1e-7) << shares.size() << " channels, input " << i;
            EXPECT_NEAR(mono[0][i], (sides[0][i] + sides[1][i]) / 2, 1e-7) << shares.size() << " channels, input " << i;
        }
        EXPECT_EQ(sides[1][1], sides[0][0]) << "both sides are scaled alike";
    }
}

TEST(ChannelMix, NothingClipsAndWhatIsLeftOutCannotBeHeard)
{
    for (uint32_t inputs = 1; inputs <= 64; ++inputs)
        for (uint32_t outputs : {1U, 2U})
            for (const auto &plane : mixed(outputs, eachAlone(inputs)))
                EXPECT_LE(plane[inputs], 1.0F + 1e-6F) << inputs << " to " << outputs;
    Planes noisy = eachAlone(6);
    noisy[3].assign(7, std::numeric_limits<float>::quiet_NaN()); // of low frequencies
    for (const auto &plane : mixed(2, noisy))
        EXPECT_TRUE(std::isfinite(plane[3]));
}

TEST(ChannelMix, OtherCountsCopyWhatFitsAndSilenceTheRest)
{
    const Planes three{{0.1F}, {0.2F}, {0.3F}};
    EXPECT_EQ(mixed(5, three), (Planes{{0.1F}, {0.2F}, {0.3F}, {0}, {0}}));
    EXPECT_EQ(mixed(3, {{0.1F}, {0.2F}, {0.3F}, {0.4F}}), three);
    EXPECT_EQ(mixed(6, {{-1.5F}}), Planes(6, {-1.5F})) << "mono reaches every channel";
}

} // namespace
