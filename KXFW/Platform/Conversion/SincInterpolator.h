#pragma once

#include <cstdint>
#include <vector>

namespace kx
{

/// Reads a sampled signal at places between its samples, at any speed: the variable-rate resampler.
///
/// Band-limited interpolation with a Kaiser-windowed sinc of 32 zero crossings a side (J. O. Smith, "Digital Audio
/// Resampling", CCRMA; J. F. Kaiser, 1974), about 90 dB of stop band, flat up to 0.8 of the half rate. Reading faster
/// than 1 widens the kernel, so that nothing folds back. Each value depends on its place and the speed alone, so speed
/// may change at any frame, and any cut into calls gives the same values. What is kept from call to call are the
/// weights for one speed. One thread at a time.
class SincInterpolator
{
public:
    static constexpr double kFastest = 4;
    /// Samples that a value needs on each side of its place, for any speed. [any] [render]
    static constexpr uint32_t kReach = 32 * static_cast<uint32_t>(kFastest);
    static constexpr double kOne = 4294967296.0; ///< 1 in fractions of 32 bits

    SincInterpolator(); ///< Makes the tables. [any]

    /// The samples that a value needs on each side at `speed`. [any] [render]
    [[nodiscard]] static uint32_t reach(double speed) noexcept;

    /// Values of `channels` signals, kMaximumChannels at most, at the places fraction + i * step, both in 2^-32 of a
    /// sample, from the sample that `planes` points at; step up to kFastest. The planes have `reach` samples before
    /// that and behind the last place. [render]
    void read(const float *const *planes, uint32_t channels, uint32_t fraction, uint64_t step, float *const *out,
              uint32_t frames) noexcept;

private:
    static constexpr uint32_t kRowBits = 8; ///< of a fraction choose the row of weights; between two, in line
    static constexpr uint32_t kRows = 1U << kRowBits;

    void prepare(double scale, uint32_t reach) noexcept;
    void weigh(double fraction, double scale, uint32_t reach, float *weights) const noexcept;

    std::vector<float> kernel_; ///< one side, in fine steps
    std::vector<float> rows_;   ///< the weights for each fraction, 0 and 1 included
    double scale_ = 0;          ///< that they were made for
};

} // namespace kx
