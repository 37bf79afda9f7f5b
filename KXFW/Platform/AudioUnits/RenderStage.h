/// @file
/// Stages: sound processors that one unit hosts in a row, as an effect with several parts.
#pragma once

#include "KXFW/Platform/AudioUnits/AudioUnit.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace kx
{

/// Frames of float samples, a plane for each channel.
struct PlanarBlock {
    float *const *planes;
    uint32_t channels;
    uint32_t frames;
};

/// What comes before a stage.
class StageSource
{
public:
    /// Fills `block`, of any length; silence where nothing can be had. [render]
    virtual void pull(const PlanarBlock &block) noexcept = 0;
    /// Counts the pulls that did not go on from the frames of the one before. [render]
    [[nodiscard]] virtual uint32_t jumps() const noexcept = 0;

protected:
    ~StageSource() = default;
};

/// One processor of 44,100 Hz stereo sound. Only one thread at a time processes and resets; the numbers may be asked
/// for meanwhile by others. What they tell beyond sense is limited by the unit.
class RenderStage
{
public:
    static constexpr uint32_t kChannels = 2;
    static constexpr uint32_t kMostFrames = 512; ///< of a block

    virtual ~RenderStage() = default;

    /// Fills `out`, of 1 to kMostFrames frames, out of what it pulls. No allocation, wait, log or throw. [render]
    virtual void process(StageSource &source, const PlanarBlock &out) noexcept = 0;
    /// Forgets all sound that went in. [any] [render]
    virtual void reset() noexcept = 0;

    /// Frames by which the sound comes out later than it went in: after a reset, and after a jump, as many frames that
    /// come out are not what is wanted. [any] [render]
    [[nodiscard]] virtual uint32_t latency() const noexcept = 0;
    /// Source frames that are pulled beyond those given, from the block under way on. [any] [render]
    [[nodiscard]] virtual uint32_t heldFrames() const noexcept = 0;
    /// Source frames pulled for each frame given. [any] [render]
    [[nodiscard]] virtual double drawRate() const noexcept = 0;
};

/// A unit that plays its input through the stages, the first one first; 44,100 Hz stereo planar float on both sides. It
/// shares them, until AudioComponentInstanceRelease or -Dispose. At most one such unit at a time may render a stage.
/// [any]
AudioUnit makeStageUnit(const std::vector<std::shared_ptr<RenderStage>> &stages);

} // namespace kx
