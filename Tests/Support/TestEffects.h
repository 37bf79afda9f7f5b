#pragma once

#include "kx/Internal/EffectChain.h"

#include <algorithm>
#include <array>
#include <functional>
#include <memory>
#include <vector>

namespace kx::test
{

/// Changes each sample of what it pulls.
struct SampleEffect : Effect {
    explicit SampleEffect(std::function<float(float)> does) : change(std::move(does)) {}

    void process(Source &source, const Block &out) noexcept override
    {
        source.pull(out);
        for (std::uint32_t channel = 0; channel < out.channelCount; ++channel)
            std::transform(out.channels[channel], out.channels[channel] + out.frames, out.channels[channel], change);
    }

    std::function<float(float)> change;
};

/// Gives what it pulls `late` frames later, as effects do that look ahead, and tells it; with `loudness` it sounds on
/// top of what it pulls, as an echo does, and tells nothing.
struct DelayEffect : Effect {
    explicit DelayEffect(std::uint32_t late, float loudness = 0) : line_(2 * late), loudness_(loudness) {}

    void process(Source &source, const Block &out) noexcept override
    {
        source.pull(out);
        for (std::uint32_t i = 0; i < out.frames; ++i, at_ = (at_ + 1) % (line_.size() / 2))
            for (std::uint32_t channel = 0; channel < 2; ++channel) {
                float &old = line_[2 * at_ + channel];
                float &sample = out.channels[channel][i];
                const float delayed = std::exchange(old, sample);
                sample = loudness_ == 0 ? delayed : sample + loudness_ * delayed;
            }
    }
    void reset() noexcept override
    {
        std::ranges::fill(line_, 0.0F);
        at_ = 0;
    }
    [[nodiscard]] std::uint32_t latency() const noexcept override
    {
        return loudness_ == 0 ? static_cast<std::uint32_t>(line_.size() / 2) : 0;
    }

private:
    std::vector<float> line_;
    float loudness_;
    std::size_t at_ = 0;
};

using Effects = std::vector<std::shared_ptr<Effect>>;

inline EffectChain chainOf(Effects effects)
{
    return EffectChain::make(std::move(effects), {}).value();
}

} // namespace kx::test
