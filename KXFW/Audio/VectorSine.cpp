#include "KXFW/Audio/VectorSine.h"

#include "KXFW/Platform/Foundation/VectorClones.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <numbers>

namespace kx
{

namespace
{

constexpr double kRounding = 0x1.8p52;                    ///< added and taken away again, it rounds to an integer
constexpr double kQuarterTurnHigh = 0x1.921fb544p+0;      ///< the first 33 bits of pi / 2: times a small integer, exact
constexpr double kQuarterTurnLow = 0x1.0b4611a626331p-34; ///< the rest

constexpr uint64_t kSignBit = 1ULL << 63;

/// (sin(r) / r - 1) / r^2 as a polynomial of z = r^2, for r within pi / 4.
[[gnu::always_inline]] inline double sinePolynomial(double z) noexcept
{
    const double high =
        -0x1.a01a019e83a9ep-13 + z * (0x1.71de379688c12p-19 + z * (-0x1.ae600b015927bp-26 + z * 0x1.5e0b197af9741p-33));
    return -0x1.5555555555555p-3 + z * (0x1.1111111110bb2p-7 + z * high);
}

/// (cos(r) - 1 + r^2 / 2) / r^4, likewise.
[[gnu::always_inline]] inline double cosinePolynomial(double z) noexcept
{
    const double high =
        0x1.a01a019f4eaf9p-16 + z * (-0x1.27e4fa17d9624p-22 + z * (0x1.1eeb68e88cbb9p-29 + z * -0x1.907da2e9cd397p-37));
    return 0x1.5555555555555p-5 + z * (-0x1.6c16c16c16967p-10 + z * high);
}

/// Without a branch, so that it goes into vectors: the sine and the cosine of what is left of |x| beside the nearest
/// multiple of a quarter turn, and the one that the quadrant asks for.
[[gnu::always_inline]] inline double sine(double x) noexcept
{
    const double size = std::abs(x);
    const double rounded = size * (2 / std::numbers::pi) + kRounding;
    const double turns = rounded - kRounding;
    const double r = size - turns * kQuarterTurnHigh - turns * kQuarterTurnLow;
    const double z = r * r;
    const auto sineBits = std::bit_cast<uint64_t>(r + r * z * sinePolynomial(z));
    const auto cosineBits = std::bit_cast<uint64_t>(1 - (z * 0.5 - z * z * cosinePolynomial(z)));
    const auto quadrant = std::bit_cast<uint64_t>(rounded);
    const uint64_t odd = 0 - (quadrant & 1);
    const uint64_t sign = ((quadrant & 2) << 62) ^ (std::bit_cast<uint64_t>(x) & kSignBit);
    return std::bit_cast<double>(((cosineBits & odd) | (sineBits & ~odd)) ^ sign);
}

void plainSineTimes(float gain, float *phases, std::size_t count) noexcept
{
    for (std::size_t i = 0; i < count; ++i)
        phases[i] = static_cast<float>(std::sin(static_cast<double>(phases[i]))) * gain;
}

KX_VECTOR_CLONES void vectorSineTimes(float gain, float *phases, std::size_t count) noexcept
{
    for (std::size_t i = 0; i < count; ++i)
        phases[i] = static_cast<float>(sine(phases[i])) * gain;
}

} // namespace

void sineTimes(float gain, float *phases, std::size_t count) noexcept
{
    uint32_t outside = 0;
    for (std::size_t i = 0; i < count; ++i)
        outside |= std::abs(phases[i]) <= kLargestVectorPhase ? 0U : 1U;
    if (outside == 0)
        vectorSineTimes(gain, phases, count);
    else
        plainSineTimes(gain, phases, count);
}

} // namespace kx
