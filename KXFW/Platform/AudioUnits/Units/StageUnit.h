#pragma once

#include "KXFW/Platform/AudioUnits/Unit.h"
#include "KXFW/Platform/AudioUnits/Units/HostedStage.h"

#include <vector>

namespace kx
{

/// Plays its input through stages; 44,100 Hz stereo planar float on both sides.
class StageUnit final : public Unit
{
public:
    explicit StageUnit(const std::vector<std::shared_ptr<RenderStage>> &stages); ///< [any]

protected:
    StatusOr<std::unique_ptr<Renderer>> makeRenderer(const UnitFormats &formats) override;
    [[nodiscard]] double latencySeconds() const override;
    [[nodiscard]] uint32_t ownHeldFrames(uint32_t behind) const override;
    [[nodiscard]] double ownDrawRate() const override;

private:
    std::vector<HostedStage> stages_;
};

} // namespace kx
