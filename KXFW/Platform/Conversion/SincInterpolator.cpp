#include "KXFW/Platform/Conversion/SincInterpolator.h"

#include "KXFW/Platform/Conversion/SincKernel.h"
#include "KXFW/Platform/Foundation/VectorClones.h"

#include <algorithm>
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

KX_VECTOR_CLONES void readPairInClones(const PairRead &pair, uint64_t place, uint64_t step, uint32_t frames) noexcept
{
    readPair(pair, place, step, frames);
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
    // Both sides together are whole lanes.
    constexpr uint32_t kGrain = kLanes / 2;
    return kGrain * static_cast<uint32_t>(std::ceil(1.0 * kCrossings / kGrain * std::clamp(speed, 1.0, kFastest)));
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
    prepare(std::min(1.0, 1 / speed), reached);
    for (uint32_t first = 0; first < channels; first += 2) {
        const uint32_t second = std::min(first + 1, channels - 1); // a channel without a fellow is read twice
        readPairInClones(
            {rows_.data(), kRowBits, 2 * reached, {planes[first], planes[second]}, {out[first], out[second]}}, fraction,
            step, frames);
    }
}

} // namespace kx
