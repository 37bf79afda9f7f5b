#include "KXFW/Platform/Conversion/SincInterpolator.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace kx
{

namespace
{

constexpr uint32_t kCrossings = 32;
constexpr uint32_t kSteps = 512;      ///< table entries a sample
constexpr double kCutoff = 0.91;      ///< of the half rate: the stop band starts at the half rate
constexpr double kKaiserShape = 8.96; ///< 0.1102 (90 dB - 8.7), Kaiser's formula

/// The modified Bessel function of order 0 by its power series.
double bessel0(double x)
{
    double sum = 1;
    double term = 1;
    for (int k = 1; term > 1e-17 * sum; ++k) {
        term *= x * x / (4.0 * k * k);
        sum += term;
    }
    return sum;
}

double kernelAt(double distance)
{
    const double x = std::numbers::pi * kCutoff * distance;
    const double sinc = x == 0 ? 1 : std::sin(x) / x;
    const double edge = distance / kCrossings;
    return kCutoff * sinc * bessel0(kKaiserShape * std::sqrt(std::max(0.0, 1 - edge * edge))) / bessel0(kKaiserShape);
}

/// In four sums, so that the compiler may keep them side by side.
float weightedSum(const float *samples, const float *weights, uint32_t count) noexcept
{
    std::array<float, 4> sums{};
    for (uint32_t i = 0; i < count; i += 4)
        for (uint32_t j = 0; j < 4; ++j)
            sums[j] += samples[i + j] * weights[i + j];
    return (sums[0] + sums[1]) + (sums[2] + sums[3]);
}

} // namespace

SincInterpolator::SincInterpolator() : kernel_(kCrossings * kSteps + 2), rows_(std::size_t{kRows + 1} * 2 * kReach)
{
    for (uint32_t i = 0; i < kCrossings * kSteps; ++i)
        kernel_[i] = static_cast<float>(kernelAt(static_cast<double>(i) / kSteps));
    prepare(1, reach(1));
}

uint32_t SincInterpolator::reach(double speed) noexcept
{
    // Even, so that the sums run over whole fours.
    const auto half = static_cast<uint32_t>(std::ceil(kCrossings / 2.0 * std::clamp(speed, 1.0, kFastest)));
    return 2 * half;
}

/// The weights of the samples 1 - reach to reach around a place `fraction` behind sample 0.
void SincInterpolator::weigh(double fraction, double scale, uint32_t reach, float *weights) const noexcept
{
    const auto scaled = static_cast<float>(scale);
    const auto stride = static_cast<float>(scale * kSteps);
    const auto first = static_cast<float>((reach - 1 + fraction) * scale * kSteps);
    constexpr auto kLast = static_cast<float>(kCrossings * kSteps);
    for (uint32_t i = 0; i < 2 * reach; ++i) {
        const float at = std::min(std::abs(first - static_cast<float>(i) * stride), kLast);
        const auto whole = static_cast<uint32_t>(at);
        const float low = kernel_[whole];
        weights[i] = scaled * (low + (at - static_cast<float>(whole)) * (kernel_[whole + 1] - low));
    }
}

void SincInterpolator::prepare(double scale, uint32_t reach) noexcept
{
    if (scale == scale_)
        return;
    scale_ = scale;
    for (uint32_t row = 0; row <= kRows; ++row)
        weigh(static_cast<double>(row) / kRows, scale, reach, rows_.data() + std::size_t{row} * 2 * reach);
}

void SincInterpolator::read(const float *const *planes, uint32_t channels, uint32_t fraction, uint64_t step,
                            float *const *out, uint32_t frames) noexcept
{
    const double speed = static_cast<double>(step) / kOne;
    const uint32_t reached = reach(speed);
    const uint32_t count = 2 * reached;
    prepare(std::min(1.0, 1 / speed), reached);
    std::array<float, 2 * kReach> weights; // NOLINT: filled below as far as it is read
    uint64_t place = fraction;
    for (uint32_t i = 0; i < frames; ++i, place += step) {
        const auto part = static_cast<uint32_t>(place);
        const float *const low = rows_.data() + std::size_t{part / (1U << 24)} * count;
        const float *const high = low + count;
        const float between = static_cast<float>(part % (1U << 24)) * 0x1p-24F;
        for (uint32_t tap = 0; tap < count; ++tap)
            weights[tap] = low[tap] + between * (high[tap] - low[tap]);
        const auto sample = static_cast<int64_t>(place >> 32) + 1 - static_cast<int64_t>(reached);
        for (uint32_t channel = 0; channel < channels; ++channel)
            out[channel][i] = weightedSum(planes[channel] + sample, weights.data(), count);
    }
}

} // namespace kx
