#pragma once

#include <cstdint>
#include <vector>

namespace kx
{

/// Changes the number of channels. Mono goes to every channel; more channels than wanted are mixed down to two with
/// the coefficients of ITU-R BS.775 (centre and surrounds at 1/sqrt(2), low-frequency effects left out), normalised so
/// that nothing clips; two go to mono as their mean. Where there are fewer, the missing channels are silent.
class ChannelMix
{
public:
    ChannelMix(uint32_t inputs, uint32_t outputs); ///< [any]

    [[nodiscard]] bool isIdentity() const noexcept { return identity_; } ///< [any]

    /// `frames` frames of planar floats; `in` and `out` must not overlap. Does not allocate. [any] [render]
    void apply(const float *const *in, float *const *out, uint32_t frames) const noexcept;

private:
    uint32_t inputs_;
    uint32_t outputs_;
    bool identity_;
    std::vector<float> gains_; ///< outputs_ rows of inputs_ gains
};

} // namespace kx
