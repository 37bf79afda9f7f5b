/// @file
/// The stages that frames pass, each left out where it has nothing to do:
///
///     at one rate       pull, unpack to floats, mix, pack
///     at two rates      pull a block, unpack, mix to fewer channels, resample, mix to more channels, pack
///
/// A stage writes where the next one reads: the source fills planes of floats itself where it speaks floats, and the
/// last stage before packing writes into the output where that is planes of floats. What is left of a block waits for
/// the next slice:
///
///     block_     [ used |blockAt_ ==== left ==== blockEnd_)
///
/// At one rate a slice pulls as many frames as it gives, and nothing is kept. At two rates the resampler says what it
/// used and what it made; a new block is pulled only when it makes nothing of what is left, so never more than one
/// block ahead. Its phase runs on from slice to slice, whatever their length: any cut gives the same frames.
#include "KXFW/Platform/AudioUnits/Units/FormatConversion.h"

#include "KXFW/Platform/Conversion/SampleFormat.h"
#include "KXFW/Platform/Foundation/Status.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace kx
{

namespace
{

constexpr uint32_t kBlockFrames = 512;

bool isPlanarFloat(const AudioStreamBasicDescription &format) noexcept
{
    return (format.mFormatFlags & kAudioFormatFlagIsFloat) && !(format.mFormatFlags & kAudioFormatFlagIsBigEndian) &&
           format.mBitsPerChannel == 32 && channelsPerBuffer(format) == 1;
}

bool sameRate(double a, double b) noexcept
{
    return std::llround(a) == std::llround(b);
}

} // namespace

StatusOr<std::unique_ptr<FormatConversion>> FormatConversion::make(const AudioStreamBasicDescription &in,
                                                                   const AudioStreamBasicDescription &out,
                                                                   uint32_t maximumFrames)
{
    if (!isConvertible(in) || !isConvertible(out))
        return kAudioUnitErr_FormatNotSupported;
    std::unique_ptr<RateConverter> rate;
    if (!sameRate(in.mSampleRate, out.mSampleRate)) {
        const uint32_t channels = std::min(in.mChannelsPerFrame, out.mChannelsPerFrame);
        auto made = RateConverter::make(in.mSampleRate, out.mSampleRate, channels, kBlockFrames);
        if (!made)
            return made.status();
        rate = *std::move(made);
    }
    return std::unique_ptr<FormatConversion>(new FormatConversion(in, out, std::move(rate), maximumFrames));
}

FormatConversion::FormatConversion(const AudioStreamBasicDescription &in, const AudioStreamBasicDescription &out,
                                   std::unique_ptr<RateConverter> rate, uint32_t maximumFrames)
    : in_(in), out_(out), same_(!rate && sameFormat(in, out)), floatIn_(isPlanarFloat(in)),
      floatOut_(isPlanarFloat(out)), mix_(in.mChannelsPerFrame, out.mChannelsPerFrame),
      mixFirst_(out.mChannelsPerFrame < in.mChannelsPerFrame), rate_(std::move(rate)),
      blockFrames_(std::min(kBlockFrames, maximumFrames)),
      pulled_(bufferCount(in), channelsPerBuffer(in), floatIn_ ? 0 : maximumFrames * in.mBytesPerFrame),
      outPlanes_(out.mChannelsPerFrame)
{
    // The rest of a block may come from a conversion of longer slices.
    const uint32_t room = rate_ ? std::max(maximumFrames, kBlockFrames) : maximumFrames;
    unpacked_ = PlanarBuffer(in.mChannelsPerFrame, room);
    if (!mix_.isIdentity())
        mixed_ = PlanarBuffer(out.mChannelsPerFrame, room);
    if (rate_) {
        const uint32_t channels = std::min(in.mChannelsPerFrame, out.mChannelsPerFrame);
        resampled_ = PlanarBuffer(channels, maximumFrames);
        blockRest_.resize(channels);
        targetRest_.resize(channels);
    }
    block_ = mixFirst_ ? mixed_.planes() : unpacked_.planes();
}

void FormatConversion::reset() noexcept
{
    blockAt_ = blockEnd_ = 0;
    inputTime_ = 0;
    if (rate_)
        rate_->reset();
}

void FormatConversion::continueFrom(FormatConversion &before) noexcept
{
    if (!rate_)
        return;
    std::swap(rate_, before.rate_);
    blockAt_ = 0;
    blockEnd_ = before.blockEnd_ - before.blockAt_;
    for (std::size_t i = 0; i < blockRest_.size(); ++i)
        std::copy_n(before.block_[i] + before.blockAt_, blockEnd_, block_[i]);
    inputTime_ = before.inputTime_;
}

FormatConversion::Outcome FormatConversion::render(FrameSource &source, const AudioTimeStamp &time, uint32_t frames,
                                                   AudioBufferList &out) noexcept
{
    if (rate_)
        return renderResampled(source, time, frames, out);
    if (source.ended())
        return {noErr, 0};
    return same_ ? Outcome{source.pull(time, frames, out), frames} : renderStraight(source, time, frames, out);
}

float *const *FormatConversion::planesOf(AudioBufferList &out) noexcept
{
    for (uint32_t i = 0; i < out.mNumberBuffers; ++i)
        outPlanes_[i] = static_cast<float *>(out.mBuffers[i].mData);
    return outPlanes_.data();
}

/// Input frames as planar floats in `target`, which the source fills itself where it speaks floats.
OSStatus FormatConversion::read(FrameSource &source, const AudioTimeStamp &time, uint32_t frames,
                                float *const *target) noexcept
{
    AudioBufferList &list = *pulled_.get();
    if (floatIn_) {
        for (uint32_t i = 0; i < list.mNumberBuffers; ++i)
            list.mBuffers[i].mData = target[i];
        return source.pull(time, frames, list);
    }
    pulled_.rewind(frames * in_.mBytesPerFrame);
    const OSStatus status = source.pull(time, frames, list);
    if (status == noErr)
        toPlanarFloat(in_, list, 0, frames, target);
    return status;
}

FormatConversion::Outcome FormatConversion::renderStraight(FrameSource &source, const AudioTimeStamp &time,
                                                           uint32_t frames, AudioBufferList &out) noexcept
{
    float *const *const target = floatOut_ ? planesOf(out) : nullptr;
    const bool mixing = !mix_.isIdentity();
    float *const *const unpacked = target && !mixing ? target : unpacked_.planes();
    if (const OSStatus status = read(source, time, frames, unpacked); status != noErr)
        return {status, 0};
    float *const *result = unpacked;
    if (mixing) {
        result = target ? target : mixed_.planes();
        mix_.apply(unpacked, result, frames);
    }
    if (!floatOut_)
        fromPlanarFloat(out_, result, frames, out, 0);
    return {noErr, frames};
}

FormatConversion::Outcome FormatConversion::renderResampled(FrameSource &source, const AudioTimeStamp &time,
                                                            uint32_t frames, AudioBufferList &out) noexcept
{
    float *const *const target = floatOut_ ? planesOf(out) : nullptr;
    const bool mixLast = !mix_.isIdentity() && !mixFirst_;
    float *const *result = target && !mixLast ? target : resampled_.planes();
    const Outcome outcome = resample(source, time, frames, result);
    if (outcome.status != noErr)
        return outcome;
    if (mixLast) {
        float *const *const mixed = target ? target : mixed_.planes();
        mix_.apply(result, mixed, outcome.frames);
        result = mixed;
    }
    if (!floatOut_)
        fromPlanarFloat(out_, result, outcome.frames, out, 0);
    return outcome;
}

FormatConversion::Outcome FormatConversion::resample(FrameSource &source, const AudioTimeStamp &time, uint32_t frames,
                                                     float *const *target) noexcept
{
    uint32_t made = 0;
    bool ended = false;
    while (made < frames) {
        const auto progress = step(ended, frames - made, target, made);
        blockAt_ += progress.inputUsed;
        made += progress.outputMade;
        if (progress.inputUsed > 0 || progress.outputMade > 0)
            continue;
        if (ended)
            break;
        if (blockAt_ < blockEnd_)
            return {kAudioHardwareUnspecifiedError, 0}; // input that is taken by nobody
        ended = source.ended();
        if (const OSStatus status = ended ? noErr : nextBlock(source, time); status != noErr)
            return {status, 0};
    }
    return {noErr, made};
}

/// One step of the resampler: from what is left of the block, be it nothing, or from the end of the input.
RateConverter::Progress FormatConversion::step(bool ended, uint32_t frames, float *const *target,
                                               uint32_t made) noexcept
{
    for (std::size_t i = 0; i < blockRest_.size(); ++i) {
        blockRest_[i] = block_[i] + blockAt_;
        targetRest_[i] = target[i] + made;
    }
    return rate_->process(ended ? nullptr : blockRest_.data(), blockEnd_ - blockAt_, targetRest_.data(), frames);
}

OSStatus FormatConversion::nextBlock(FrameSource &source, const AudioTimeStamp &time) noexcept
{
    AudioTimeStamp stamp = time;
    stamp.mSampleTime = inputTime_;
    stamp.mFlags |= kAudioTimeStampSampleTimeValid;
    if (const OSStatus status = read(source, stamp, blockFrames_, unpacked_.planes()); status != noErr)
        return status;
    if (mixFirst_)
        mix_.apply(unpacked_.planes(), mixed_.planes(), blockFrames_);
    blockAt_ = 0;
    blockEnd_ = blockFrames_;
    inputTime_ += blockFrames_;
    return noErr;
}

} // namespace kx
