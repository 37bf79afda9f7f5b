#pragma once

#include "KXFW/Platform/AudioUnits/Renderer.h"
#include "KXFW/Platform/AudioUnits/Units/HostedStage.h"
#include "KXFW/Platform/Foundation/BufferList.h"

#include <deque>
#include <span>

namespace kx
{

/// The unit's input as the first stage sees it: without a failure, and with numbers only.
class StageInput final : public StageSource
{
public:
    explicit StageInput(uint32_t maximumFrames) : maximumFrames_(maximumFrames), list_(RenderStage::kChannels, 1, 0) {}

    /// Of one slice. [render]
    void begin(FrameSource &input, const AudioTimeStamp &time) noexcept;
    /// Of the pulls since then: noErr, or the first failure. [render]
    [[nodiscard]] OSStatus status() const noexcept { return status_; }

    void pull(const PlanarBlock &block) noexcept override;
    [[nodiscard]] uint32_t jumps() const noexcept override { return input_->discontinuities(); }

private:
    uint32_t maximumFrames_;
    FrameSource *input_ = nullptr;
    AudioTimeStamp time_{};
    OSStatus status_ = noErr;
    BufferList list_; ///< pointers only
};

/// One stage at work: it is run block by block, and what it gives too late is made good.
///
/// A stage that is late by n frames gives n frames at first that are no sound of its source, and after a jump n frames
/// of the place before. These are left out, and as many drawn more: the first frame of the source, or of the new place,
/// is the first that is heard.
class StageRun final : public StageSource
{
public:
    StageRun(HostedStage &stage, StageSource &source) noexcept : stage_(stage), source_(source) {}

    void pull(const PlanarBlock &out) noexcept override;
    [[nodiscard]] uint32_t jumps() const noexcept override { return source_.jumps(); }

    void reset() noexcept;                         ///< [any] [render]
    void continueFrom(const StageRun &b) noexcept; ///< A run of the same stage. [any]

private:
    void process(const PlanarBlock &block) noexcept;

    HostedStage &stage_;
    StageSource &source_;
    uint32_t latency_ = 0; ///< as it was last
    uint32_t leftOut_ = 0; ///< frames to be left out yet
    bool mayWait_ = true;  ///< for a latency that has grown, in the pull under way
};

/// Makes the sound of a unit with stages.
class StageRenderer final : public Renderer
{
public:
    StageRenderer(std::span<HostedStage> stages, uint32_t maximumFrames); ///< Borrows the stages. [any]

    OSStatus render(FrameSource &input, const AudioTimeStamp &time, uint32_t frames,
                    AudioBufferList &out) noexcept override;
    void takePlace(Renderer *before) noexcept override;
    void reset() noexcept override;

private:
    StageInput input_;
    std::deque<StageRun> runs_; ///< each pulls from the one before it
};

} // namespace kx
