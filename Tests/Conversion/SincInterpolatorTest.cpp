#include "KXFW/Platform/Conversion/SincInterpolator.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

namespace kx::test
{
namespace
{

/// Reads a sine of `frequency` (in parts of the sample rate) at `speed` and gives the power of what is not the sine
/// that should come, or, where that lies above the half rate, of all of it: in dB against a full sine.
double errorOf(double frequency, double speed)
{
    constexpr uint32_t kFrames = 4000;
    constexpr uint32_t kBefore = SincInterpolator::kReach;
    std::vector<float> source(kBefore * 2 + 4 * kFrames + 1);
    for (std::size_t i = 0; i < source.size(); ++i)
        source[i] = static_cast<float>(std::sin(2 * std::numbers::pi * frequency * static_cast<double>(i)));
    std::vector<float> read(kFrames);
    const float *const in = source.data() + kBefore;
    float *const out = read.data();
    constexpr uint32_t kThird = 0x55555555;
    const auto step = static_cast<uint64_t>(std::llround(speed * SincInterpolator::kOne));
    SincInterpolator().read(&in, 1, kThird, step, &out, kFrames);
    const bool passes = frequency * speed < 0.5;
    double power = 0;
    for (uint32_t i = 0; i < kFrames; ++i) {
        const double place =
            kBefore + (kThird + static_cast<double>(i) * static_cast<double>(step)) / SincInterpolator::kOne;
        const double wanted = passes ? std::sin(2 * std::numbers::pi * frequency * place) : 0;
        power += (read[i] - wanted) * (read[i] - wanted);
    }
    return 10 * std::log10(2 * power / kFrames);
}

TEST(SincInterpolator, GivesTheSignalBetweenItsSamplesAndLetsNothingFoldBack)
{
    for (const double speed : {0.25, 0.7491535, 1.0, 1.0594631, 2.0, 4.0})
        for (const double frequency : {0.001, 0.05, 0.2, 0.39})
            if (frequency * speed < 0.4 || frequency * speed > 0.5) {
                EXPECT_LT(errorOf(frequency, speed), -80) << "speed " << speed << ", frequency " << frequency;
            }
}

} // namespace
} // namespace kx::test
