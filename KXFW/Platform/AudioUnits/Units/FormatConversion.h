#pragma once

#include "KXFW/Platform/AudioUnits/Renderer.h"
#include "KXFW/Platform/AudioUnits/Units/PlanarBuffer.h"
#include "KXFW/Platform/Conversion/ChannelMix.h"
#include "KXFW/Platform/Conversion/RateConverter.h"
#include "KXFW/Platform/Foundation/BufferList.h"
#include "KXFW/Platform/Foundation/StatusOr.h"

#include <memory>
#include <vector>

namespace kx
{

/// Pulls frames in one format and gives them in another: sample format, channels and rate.
///
/// At one rate a slice pulls exactly the frames it gives, at once, and passes through no buffer that it can do without.
/// With a change of rate it pulls blocks and keeps what is left of one for the next slice. Fewer channels are made
/// before the change of rate, more after it. One thread at a time.
class FormatConversion
{
public:
    /// Both formats convertible; slices of up to `maximumFrames` frames. Makes all memory. [any]
    static StatusOr<std::unique_ptr<FormatConversion>>
    make(const AudioStreamBasicDescription &in, const AudioStreamBasicDescription &out, uint32_t maximumFrames);

    struct Outcome {
        OSStatus status;
        uint32_t frames; ///< fewer than asked only when the source has ended and nothing is kept any more
    };
    /// Up to `frames` frames into `out`. [render]
    Outcome render(FrameSource &source, const AudioTimeStamp &time, uint32_t frames, AudioBufferList &out) noexcept;

    void reset() noexcept; ///< Forgets all input. [any] [render]
    /// Goes on where `before` stands, which was made for the same formats and is not used after that. [any] [render]
    void continueFrom(FormatConversion &before) noexcept;

    /// True when input frames may stay here after a slice. [any] [render]
    [[nodiscard]] bool keepsFrames() const noexcept { return rate_ != nullptr; }

private:
    FormatConversion(const AudioStreamBasicDescription &in, const AudioStreamBasicDescription &out,
                     std::unique_ptr<RateConverter> rate, uint32_t maximumFrames);

    OSStatus read(FrameSource &source, const AudioTimeStamp &time, uint32_t frames, float *const *target) noexcept;
    Outcome renderStraight(FrameSource &source, const AudioTimeStamp &time, uint32_t frames,
                           AudioBufferList &out) noexcept;
    Outcome renderResampled(FrameSource &source, const AudioTimeStamp &time, uint32_t frames,
                            AudioBufferList &out) noexcept;
    Outcome resample(FrameSource &source, const AudioTimeStamp &time, uint32_t frames, float *const *target) noexcept;
    RateConverter::Progress step(bool ended, uint32_t frames, float *const *target, uint32_t made) noexcept;
    OSStatus nextBlock(FrameSource &source, const AudioTimeStamp &time) noexcept;
    [[nodiscard]] float *const *planesOf(AudioBufferList &out) noexcept;

    AudioStreamBasicDescription in_;
    AudioStreamBasicDescription out_;
    bool same_;     ///< nothing to do but to pull
    bool floatIn_;  ///< frames come as planar floats already
    bool floatOut_; ///< and go as such
    ChannelMix mix_;
    bool mixFirst_;
    std::unique_ptr<RateConverter> rate_;

    uint32_t blockFrames_;
    BufferList pulled_; ///< the input's own format; with planar floats a list of pointers only
    PlanarBuffer unpacked_;
    PlanarBuffer mixed_;
    PlanarBuffer resampled_;
    std::vector<float *> outPlanes_;
    std::vector<const float *> blockRest_;
    std::vector<float *> targetRest_;

    float *const *block_; ///< the block being resampled: frames blockAt_ to blockEnd_ of it are left
    uint32_t blockAt_ = 0;
    uint32_t blockEnd_ = 0;
    double inputTime_ = 0; ///< input frames pulled since the start
};

} // namespace kx
