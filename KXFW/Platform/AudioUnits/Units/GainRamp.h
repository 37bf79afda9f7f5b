#pragma once

#include <algorithm>
#include <cstdint>

namespace kx
{

/// A gain that reaches each new target by a straight line of kFrames frames, however these are cut into slices. Where
/// it stands at exactly 1 samples are not touched. One thread at a time.
class GainRamp
{
public:
    static constexpr uint32_t kFrames = 512;

    /// The gain is `gain` from here on, without a ramp. [any] [render]
    void jumpTo(float gain) noexcept
    {
        target_ = gain;
        left_ = 0;
    }

    /// Applies the gain to the next `frames` frames, on the way to `target`. [render]
    void apply(float target, float *const *planes, uint32_t channels, uint32_t frames) noexcept
    {
        if (target != target_)
            turnTo(target);
        const uint32_t sloping = std::min(frames, left_);
        for (uint32_t i = 0; i < channels; ++i) {
            slope(planes[i], sloping);
            level(planes[i] + sloping, frames - sloping);
        }
        left_ -= sloping;
    }

private:
    void turnTo(float target) noexcept
    {
        const float gain = gainWith(left_);
        step_ = (target - gain) / static_cast<float>(kFrames);
        target_ = target;
        left_ = kFrames;
    }

    /// The gain `left` frames before the target, so that the last one is the target itself.
    [[nodiscard]] float gainWith(uint32_t left) const noexcept { return target_ - step_ * static_cast<float>(left); }

    void slope(float *samples, uint32_t frames) const noexcept
    {
        for (uint32_t i = 0; i < frames; ++i)
            samples[i] *= gainWith(left_ - 1 - i);
    }

    void level(float *samples, uint32_t frames) const noexcept
    {
        if (target_ == 1.0f)
            return;
        for (uint32_t i = 0; i < frames; ++i)
            samples[i] *= target_;
    }

    float target_ = 1;
    float step_ = 0;
    uint32_t left_ = 0;
};

} // namespace kx
