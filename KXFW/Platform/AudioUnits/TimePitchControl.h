#pragma once

#include "KXFW/Platform/AudioUnits/Renderer.h"
#include "KXFW/Platform/AudioUnits/Unit.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <span>

namespace kx
{

/// How a time-pitch renderer changes the sound.
struct TimePitchSetting {
    float rate = 1;  ///< source frames played for each frame given
    float cents = 0; ///< hundredths of a semitone

    bool operator==(const TimePitchSetting &) const = default;
    [[nodiscard]] bool isNeutral() const noexcept { return rate == 1 && cents == 0; } ///< [any] [render]
};

/// What those who set a time-pitch renderer and the renderer itself tell each other.
class TimePitchControl
{
public:
    TimePitchControl() noexcept; ///< At rate 1 and pitch 0. [any]

    /// The rate and the pitch, in this order, with their ranges. [any]
    [[nodiscard]] std::span<Parameter> parameters() noexcept { return parameters_; }
    [[nodiscard]] TimePitchSetting setting() const noexcept; ///< As it is to be now. [any] [render]

    /// For the renderer: how many frames it keeps back from the slice under way on. [any] [render]
    void tellHeldFrames(uint32_t frames) noexcept { held_ = frames; }
    [[nodiscard]] uint32_t heldFrames() const noexcept { return held_; } ///< [any] [render]

private:
    std::array<Parameter, 2> parameters_;
    std::atomic<uint32_t> held_{0};
};

/// The sound-making half of AVAudioUnitTimePitch, for stereo planar float; `control` outlives it. [any]
std::unique_ptr<Renderer> makeTimePitchRenderer(TimePitchControl &control, uint32_t maximumFrames);

} // namespace kx
