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

TimePitchUnit::TimePitchUnit()
    : Unit(kTimePitchShape), parameters_{Parameter{kTimePitchParam_Rate, 0.25F, 4, 1, Parameter::Outside::Refused},
                                         Parameter{kTimePitchParam_Pitch, -2400, 2400, 0, Parameter::Outside::Refused}}
{
}

TimePitchSetting TimePitchUnit::setting() const noexcept
{
    return {parameters_[0].value, parameters_[1].value};
}

StatusOr<std::unique_ptr<Renderer>> TimePitchUnit::makeRenderer(const UnitFormats &formats)
{
    return std::unique_ptr<Renderer>(std::make_unique<TimePitchRenderer>(*this, formats.maximumFrames));
}

double TimePitchUnit::latencySeconds() const
{
    return held_ / (kCanonicalSampleRate * setting().rate);
}

uint32_t TimePitchUnit::ownHeldFrames(uint32_t behind) const
{
    const auto frames = static_cast<uint32_t>(std::ceil(behind * double{setting().rate}));
    return frames + (isInitialized() ? held_.load() : 0);
}

std::shared_ptr<Unit> makeTimePitchUnit()
{
    return std::make_shared<TimePitchUnit>();
}

} // namespace kx
