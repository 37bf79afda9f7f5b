#pragma once

#include <cstddef>

namespace kx
{

/// Up to here, and down to its negative, sineTimes takes phases; beyond it they are the C library's.
inline constexpr float kLargestVectorPhase = 8.0F;

/// Replaces each phase x, in radians, by the float nearest to sin(x) times `gain`. The sine is computed in 64 bits; its
/// rounding to 32 equals that of the C library's sin for every float within kLargestVectorPhase. [any] [render]
void sineTimes(float gain, float *phases, std::size_t count) noexcept;

} // namespace kx
