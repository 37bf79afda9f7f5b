#pragma once

#include "KXFW/Platform/Foundation/StatusOr.h"

#include <cstdint>
#include <memory>

namespace kx
{

/// Sample-rate conversion of planar floats at 24-bit quality, deterministic: the output does not depend on how the
/// input is cut into blocks, and a restart at the right frame repeats the straight conversion, to the bit between most
/// rates and else within 2^-24 (1/512 of a step of 16 bits). Output frame n stands at input time n x inRate / outRate;
/// before the input and after it is silence. For n input frames n x outRate / inRate output frames come out, rounded
/// up, once the end was told. One thread at a time.
class RateConverter
{
public:
    /// Rates in frames per second within the limits of StreamFormat.h, rounded to whole numbers; `maximumFrames`, the
    /// most input frames a call, is at least 1. Makes all buffers as large as they will need, so that `process` does
    /// not allocate afterwards, for rates that rise by up to 48 times. [any]
    static StatusOr<std::unique_ptr<RateConverter>> make(double inRate, double outRate, uint32_t channels,
                                                         uint32_t maximumFrames);
    ~RateConverter();

    struct Progress {
        uint32_t inputUsed;
        uint32_t outputMade;
    };

    /// Takes up to `inFrames` frames and gives up to `outFrames`; it stops when there is no room or no input left. A
    /// null `in` tells that the input has ended; then call on until no output is made. Input after that is not taken
    /// before `reset`. [any] [render]
    Progress process(const float *const *in, uint32_t inFrames, float *const *out, uint32_t outFrames) noexcept;

    /// Forgets all input: the next frame is the first again, and the output that of a new converter to the bit.
    /// Allocates, and costs as much as converting a fifth of a second, or up to a second between odd rates. [any]
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
