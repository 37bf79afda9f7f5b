#include "KXFW/Platform/AudioUnits/Units/StageRenderer.h"

#include <array>
#include <bit>
#include <cstring>
#include <utility>

namespace kx
{

namespace
{

constexpr uint32_t kStageChannels = RenderStage::kChannels;

/// A part of a block, and the memory of its planes.
struct BlockPart {
    BlockPart(const PlanarBlock &whole, uint32_t from, uint32_t frames) noexcept
        : block{planes.data(), kStageChannels, frames}
    {
        for (uint32_t i = 0; i < kStageChannels; ++i)
            planes[i] = whole.planes[i] + from;
    }
    BlockPart(const BlockPart &) = delete;
    BlockPart &operator=(const BlockPart &) = delete;

    std::array<float *, kStageChannels> planes{};
    PlanarBlock block;
};

bool isNoNumber(float sample) noexcept // infinity is none either
{
    constexpr uint32_t kExponent = 0x7F80'0000;
    return (std::bit_cast<uint32_t>(sample) & kExponent) == kExponent;
}

/// Makes samples that are no numbers silent; whether there were any.
bool silenceNoNumbers(const PlanarBlock &block) noexcept
{
    uint32_t found = 0;
    for (uint32_t channel = 0; channel < block.channels; ++channel)
        for (uint32_t i = 0; i < block.frames; ++i)
            found |= isNoNumber(block.planes[channel][i]) ? 1U : 0U;
    for (uint32_t channel = 0; channel < block.channels && found != 0; ++channel)
        std::replace_if(block.planes[channel], block.planes[channel] + block.frames, isNoNumber, 0.0F);
    return found != 0;
}

} // namespace

void StageInput::begin(FrameSource &input, const AudioTimeStamp &time) noexcept
{
    input_ = &input;
    time_ = time;
    status_ = noErr;
}

void StageInput::pull(const PlanarBlock &block) noexcept
{
    for (uint32_t done = 0; done < block.frames;) {
        const BlockPart part(block, done, std::min(maximumFrames_, block.frames - done));
        for (uint32_t i = 0; i < kStageChannels; ++i)
            (&list_.get()->mBuffers[0])[i].mData = part.planes[i];
        const OSStatus status = input_->pull(time_, part.block.frames, *list_.get());
        if (status != noErr)
            silence(*list_.get());
        if (status_ == noErr)
            status_ = status;
        silenceNoNumbers(part.block);
        done += part.block.frames;
    }
}

void StageRun::pull(const PlanarBlock &out) noexcept
{
    mayWait_ = true;
    bool mayJump = true; // once a pull: a source that always jumps must not keep it from its end
    for (uint32_t made = 0; made < out.frames;) {
        const BlockPart part(out, made, std::min(RenderStage::kMostFrames, out.frames - made));
        const uint32_t jumps = source_.jumps();
        process(part.block);
        if (source_.jumps() != jumps && mayJump) {
            mayJump = false;
            leftOut_ = latency_;
            made = 0; // what was made in this pull is of the place before
        }
        const uint32_t left = std::min(leftOut_, part.block.frames);
        const uint32_t kept = part.block.frames - left;
        for (uint32_t i = 0; i < kStageChannels; ++i)
            if (float *const to = out.planes[i] + made; to != part.planes[i] + left)
                std::memmove(to, part.planes[i] + left, kept * sizeof(float));
        leftOut_ -= left;
        made += kept;
    }
}

/// A stage that is later than it was has frames to leave out; one that begins anew has all of its latency. Once a pull,
/// so that one whose latency comes and goes, or that gives no numbers again and again, does not keep it from its end.
void StageRun::process(const PlanarBlock &block) noexcept
{
    stage_.begin();
    stage_.stage().process(source_, block);
    if (silenceNoNumbers(block)) {
        stage_.stage().reset(); // else they might go round in it for ever
        latency_ = leftOut_ = 0;
    }
    const uint32_t latency = stage_.latency();
    if (latency > latency_ && std::exchange(mayWait_, false))
        leftOut_ += latency - latency_;
    latency_ = latency;
}

void StageRun::reset() noexcept
{
    stage_.reset();
    latency_ = leftOut_ = 0;
}

void StageRun::continueFrom(const StageRun &b) noexcept
{
    latency_ = b.latency_;
    leftOut_ = b.leftOut_;
}

StageRenderer::StageRenderer(std::span<HostedStage> stages, uint32_t maximumFrames) : input_(maximumFrames)
{
    for (HostedStage &stage : stages)
        runs_.emplace_back(stage, runs_.empty() ? static_cast<StageSource &>(input_) : runs_.back());
}

OSStatus StageRenderer::render(FrameSource &input, const AudioTimeStamp &time, uint32_t frames,
                               AudioBufferList &out) noexcept
{
    std::array<float *, kStageChannels> planes{};
    for (uint32_t i = 0; i < kStageChannels; ++i)
        planes[i] = static_cast<float *>((&out.mBuffers[0])[i].mData);
    input_.begin(input, time);
    (runs_.empty() ? static_cast<StageSource &>(input_) : runs_.back()).pull({planes.data(), kStageChannels, frames});
    return input_.status();
}

void StageRenderer::takePlace(Renderer *before) noexcept
{
    if (!before)
        return reset();
    for (std::size_t i = 0; i < runs_.size(); ++i)
        runs_[i].continueFrom(static_cast<StageRenderer *>(before)->runs_[i]);
}

void StageRenderer::reset() noexcept
{
    for (StageRun &run : runs_)
        run.reset();
}

} // namespace kx
