#include "KXFW/Platform/AudioUnits/Units/StageUnit.h"

#include "KXFW/Platform/AudioUnits/UnitRegistry.h"
#include "KXFW/Platform/AudioUnits/Units/StageRenderer.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <cmath>

namespace kx
{

namespace
{

constexpr AudioStreamBasicDescription kStageFormat = planarFloat(kCanonicalSampleRate, RenderStage::kChannels);
constexpr UnitShape kStageShape{.formats = {kStageFormat, kStageFormat, kDefaultMaximumFrames}};

} // namespace

StageUnit::StageUnit(const std::vector<std::shared_ptr<RenderStage>> &stages)
    : Unit(kStageShape), stages_(stages.size())
{
    for (std::size_t i = 0; i < stages.size(); ++i)
        stages_[i].host(stages[i]);
}

StatusOr<std::unique_ptr<Renderer>> StageUnit::makeRenderer(const UnitFormats &formats)
{
    return std::unique_ptr<Renderer>(std::make_unique<StageRenderer>(stages_, formats.maximumFrames));
}

double StageUnit::latencySeconds() const
{
    return ownHeldFrames(0) / (kCanonicalSampleRate * ownDrawRate());
}

uint32_t StageUnit::ownHeldFrames(uint32_t behind) const
{
    if (!isInitialized())
        return static_cast<uint32_t>(std::ceil(behind * ownDrawRate()));
    for (std::size_t i = stages_.size(); i > 0; --i)
        behind = stages_[i - 1].heldFrames(behind);
    return behind;
}

double StageUnit::ownDrawRate() const
{
    double rate = 1;
    for (const HostedStage &stage : stages_)
        rate *= stage.drawRate();
    return rate;
}

AudioUnit makeStageUnit(const std::vector<std::shared_ptr<RenderStage>> &stages)
{
    return UnitRegistry::add(std::make_shared<StageUnit>(stages));
}

} // namespace kx
