#include "KXFW/Platform/AudioUnits/Units/TimePitchUnit.h"

#include "KXFW/Platform/AudioUnits/ComponentTable.h"
#include "KXFW/Platform/AudioUnits/Units/TimePitchRenderer.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <cmath>

namespace kx
{

namespace
{

constexpr UnitShape kTimePitchShape{
    .formats = {planarFloat(kCanonicalSampleRate, 2), planarFloat(kCanonicalSampleRate, 2), kDefaultMaximumFrames}};

} // namespace

TimePitchControl::TimePitchControl() noexcept
    : parameters_{Parameter{kTimePitchParam_Rate, 0.25F, 4, 1, Parameter::Outside::Refused},
                  Parameter{kTimePitchParam_Pitch, -2400, 2400, 0, Parameter::Outside::Refused}}
{
}

TimePitchSetting TimePitchControl::setting() const noexcept
{
    return {parameters_[0].value, parameters_[1].value};
}

std::unique_ptr<Renderer> makeTimePitchRenderer(TimePitchControl &control, uint32_t maximumFrames)
{
    return std::make_unique<TimePitchRenderer>(control, maximumFrames);
}

TimePitchUnit::TimePitchUnit() : Unit(kTimePitchShape) {}

StatusOr<std::unique_ptr<Renderer>> TimePitchUnit::makeRenderer(const UnitFormats &formats)
{
    return makeTimePitchRenderer(control_, formats.maximumFrames);
}

double TimePitchUnit::latencySeconds() const
{
    return control_.heldFrames() / (kCanonicalSampleRate * control_.setting().rate);
}

uint32_t TimePitchUnit::ownHeldFrames(uint32_t behind) const
{
    const auto frames = static_cast<uint32_t>(std::ceil(behind * double{control_.setting().rate}));
    return frames + (isInitialized() ? control_.heldFrames() : 0);
}

std::shared_ptr<Unit> makeTimePitchUnit()
{
    return std::make_shared<TimePitchUnit>();
}

} // namespace kx
