#pragma once

#include "KXFW/Platform/AudioUnits/Unit.h"
#include "KXFW/Platform/AudioUnits/Units/TimePitchSetting.h"

#include <array>

namespace kx
{

/// Plays its input at another rate and at another pitch; 44,100 Hz stereo planar float on both sides.
class TimePitchUnit final : public Unit
{
public:
    TimePitchUnit(); ///< At rate 1 and pitch 0. [any]

    [[nodiscard]] TimePitchSetting setting() const noexcept; ///< As it is to be now. [any] [render]
    /// For the unit's renderer: how many frames it keeps back from the slice under way on. [any] [render]
    void tellHeldFrames(uint32_t frames) noexcept { held_ = frames; }

protected:
    StatusOr<std::unique_ptr<Renderer>> makeRenderer(const UnitFormats &formats) override;
    [[nodiscard]] double latencySeconds() const override;
    std::span<Parameter> parameters() noexcept override { return parameters_; }
    [[nodiscard]] uint32_t ownHeldFrames(uint32_t behind) const override;
    [[nodiscard]] double ownDrawRate() const override { return setting().rate; }

private:
    std::array<Parameter, 2> parameters_; ///< rate, pitch
    std::atomic<uint32_t> held_{0};
};

} // namespace kx
