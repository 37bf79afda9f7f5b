#include "KXFW/Platform/Conversion/ChannelMix.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <numeric>
#include <span>

namespace kx
{
namespace
{

struct StereoGains {
    float left;
    float right;
};

constexpr float kHalfPower = 0.70710678F; // 1/sqrt(2), 3 dB down
constexpr StereoGains kLeft{1, 0};
constexpr StereoGains kRight{0, 1};
constexpr StereoGains kCentre{kHalfPower, kHalfPower};
constexpr StereoGains kLowFrequency{0, 0};
constexpr StereoGains kSurroundLeft{kHalfPower, 0};
constexpr StereoGains kSurroundRight{0, kHalfPower};
constexpr StereoGains kSurroundCentre{0.5F, 0.5F}; // half power to either surround, and that once more

constexpr std::array kThree{kLeft, kRight, kCentre};
constexpr std::array kFour{kLeft, kRight, kSurroundLeft, kSurroundRight};
constexpr std::array kFive{kLeft, kRight, kCentre, kSurroundLeft, kSurroundRight};
constexpr std::array kSix{kLeft, kRight, kCentre, kLowFrequency, kSurroundLeft, kSurroundRight};
constexpr std::array kSeven{kLeft, kRight, kCentre, kLowFrequency, kSurroundCentre, kSurroundLeft, kSurroundRight};
constexpr std::array kEight{kLeft,         kRight,         kCentre,       kLowFrequency,
                            kSurroundLeft, kSurroundRight, kSurroundLeft, kSurroundRight};

std::span<const StereoGains> knownLayout(uint32_t channels)
{
    switch (channels) {
    case 3:
        return kThree;
    case 4:
        return kFour;
    case 5:
        return kFive;
    case 6:
        return kSix;
    case 7:
        return kSeven;
    case 8:
        return kEight;
    default:
        return {};
    }
}

/// Two rows of gains, one factor for both, so that neither side can exceed full scale and the picture stays centred.
std::vector<float> stereoRows(uint32_t inputs)
{
    std::vector<float> rows(std::size_t{2} * inputs);
    const std::span<const StereoGains> layout = knownLayout(inputs);
    for (uint32_t i = 0; i < inputs; ++i) {
        const StereoGains gains = layout.empty() ? (i % 2 == 0 ? kLeft : kRight) : layout[i];
        rows[i] = gains.left;
        rows[inputs + i] = gains.right;
    }
    const auto middle = rows.begin() + inputs;
    const float loudest =
        std::max(std::accumulate(rows.begin(), middle, 0.0F), std::accumulate(middle, rows.end(), 0.0F));
    for (float &gain : rows)
        gain /= std::max(loudest, 1.0F);
    return rows;
}

std::vector<float> monoRow(uint32_t inputs)
{
    const std::vector<float> stereo = stereoRows(inputs);
    std::vector<float> row(inputs);
    for (uint32_t i = 0; i < inputs; ++i)
        row[i] = (stereo[i] + stereo[inputs + i]) / 2;
    return row;
}

std::vector<float> gainRows(uint32_t inputs, uint32_t outputs)
{
    if (outputs == 1 && inputs > 1)
        return monoRow(inputs);
    if (outputs == 2 && inputs > 2)
        return stereoRows(inputs);
    std::vector<float> rows(std::size_t{outputs} * inputs);
    for (std::size_t o = 0; o < outputs; ++o)
        if (inputs == 1 || o < inputs)
            rows[o * inputs + (inputs == 1 ? 0 : o)] = 1;
    return rows;
}

/// One output channel; channels without a gain are not even looked at, so that their noise cannot come through.
void mixRow(const float *gains, const float *const *in, uint32_t inputs, float *out, uint32_t frames) noexcept
{
    bool first = true;
    for (uint32_t i = 0; i < inputs; ++i) {
        const float gain = gains[i];
        const float *__restrict source = in[i];
        float *__restrict target = out;
        if (gain == 0)
            continue;
        if (first && gain == 1)
            std::memcpy(target, source, frames * sizeof(float));
        else if (first)
            for (uint32_t n = 0; n < frames; ++n)
                target[n] = gain * source[n];
        else
            for (uint32_t n = 0; n < frames; ++n)
                target[n] += gain * source[n];
        first = false;
    }
    if (first)
        std::memset(out, 0, frames * sizeof(float));
}

} // namespace

ChannelMix::ChannelMix(uint32_t inputs, uint32_t outputs)
    : inputs_(inputs), outputs_(outputs), identity_(inputs == outputs), gains_(gainRows(inputs, outputs))
{
}

void ChannelMix::apply(const float *const *in, float *const *out, uint32_t frames) const noexcept
{
    if (frames == 0)
        return;
    for (std::size_t o = 0; o < outputs_; ++o)
        mixRow(gains_.data() + o * inputs_, in, inputs_, out[o], frames);
}

} // namespace kx
