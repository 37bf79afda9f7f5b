#pragma once

#include "KXFW/Platform/Foundation/Result.h"

#include <cstdint>
#include <memory>

namespace kx
{

/// Sample-rate conversion of planar floats at 24-bit quality, deterministic: the output does not depend on how the
/// input is cut into blocks, and a restart at the right frame repeats the straight conversion sample for sample.
/// Output frame n stands at input time n x inRate / outRate. For n input frames trunc(n x outRate / inRate) output
/// frames come out, at least, once the end was told. One thread at a time.
class RateConverter
{
public:
    /// Rates in frames per second within the limits of StreamFormat.h, rounded to whole numbers. Warms up, so that
    /// `process` does not allocate afterwards for up to `maximumFrames` input frames a call. [any]
    static Result<std::unique_ptr<RateConverter>> make(double inRate, double outRate, uint32_t channels,
                                                       uint32_t maximumFrames);
    ~RateConverter();

    struct Progress {
        uint32_t inputUsed;
        uint32_t outputMade;
    };

    /// Takes up to `inFrames` frames and gives up to `outFrames`. A null `in` tells that the input has ended; then
    /// call on until no output is made. [any] [render]
    Progress process(const float *const *in, uint32_t inFrames, float *const *out, uint32_t outFrames) noexcept;

    /// Forgets all input: the next frame is the first again. [any] [render]
    void reset() noexcept;

    /// Where a restart must begin so that output frame `wanted` comes out as in a straight conversion: feed from input
    /// frame `input` on after `reset`, and drop `drop` output frames first. [any]
    struct Restart {
        int64_t input;
        int64_t drop;
    };
    [[nodiscard]] Restart restartFor(int64_t wanted) const noexcept;

private:
    struct Impl;
    explicit RateConverter(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

} // namespace kx
