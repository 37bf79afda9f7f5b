#pragma once

#include "KXFW/Platform/AudioUnits/TimePitchControl.h"
#include "KXFW/Platform/AudioUnits/Unit.h"

namespace kx
{

/// Plays its input at another rate and at another pitch; 44,100 Hz stereo planar float on both sides.
class TimePitchUnit final : public Unit
{
public:
    TimePitchUnit(); ///< At rate 1 and pitch 0. [any]

protected:
    StatusOr<std::unique_ptr<Renderer>> makeRenderer(const UnitFormats &formats) override;
    [[nodiscard]] double latencySeconds() const override;
    std::span<Parameter> parameters() noexcept override { return control_.parameters(); }
    [[nodiscard]] uint32_t ownHeldFrames(uint32_t behind) const override;
    [[nodiscard]] double ownDrawRate() const override { return control_.setting().rate; }

private:
    TimePitchControl control_;
};

} // namespace kx
