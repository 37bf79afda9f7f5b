#include "KXFW/Audio/Player/RenderSource.h"

#include "KXFW/Audio/StatusAssertion.h"
#include "KXFW/Platform/AudioUnits/RenderScope.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <utility>

namespace kx
{

namespace
{

/// The source whose callback this thread is in.
thread_local const RenderSource *renderingSource = nullptr;

class RenderingScope
{
public:
    explicit RenderingScope(const RenderSource *source) noexcept : before_(std::exchange(renderingSource, source)) {}
    ~RenderingScope() { renderingSource = before_; }
    RenderingScope(const RenderingScope &) = delete;
    RenderingScope &operator=(const RenderingScope &) = delete;

private:
    const RenderSource *before_;
};

/// The walk of a render: reads go to the converter's buffer. What fails is kept and ends the walk, so that what was
/// read before it is heard, and the position stays in step with the data.
class RenderWalk final : public LoopWalkSource
{
public:
    RenderWalk(KXAFiledAudioData2 &data, int64_t bytesPerFrame, void *destination, bool &seekIsDue)
        : data_(data), bytesPerFrame_(bytesPerFrame), destination_(static_cast<std::byte *>(destination)),
          seekIsDue_(seekIsDue)
    {
    }

    int64_t read(int64_t at, int64_t bytes) override
    {
        auto frames = static_cast<uint32_t>(bytes / bytesPerFrame_);
        uint32_t got = 0;
        attempt([&] {
            data_.readToBuffer(destination_ + at, &frames);
            got = frames;
        });
        return got * bytesPerFrame_;
    }
    void seek(int64_t frame) override
    {
        seekIsDue_ = true;
        attempt([&] {
            data_.seek(frame);
            seekIsDue_ = false;
        });
    }
    void repeat(int64_t from, int64_t at, int64_t bytes) override
    {
        std::memcpy(destination_ + at, destination_ + from, static_cast<std::size_t>(bytes));
    }

    /// The data gives all that it announces unless it fails.
    [[nodiscard]] bool waits() const override { return !failure_ && !data_.endedByFailure(); }

    [[nodiscard]] const std::exception_ptr &failure() const noexcept { return failure_; }

private:
    template <class Step> void attempt(Step step)
    {
        if (failure_)
            return;
        try {
            step();
        } catch (...) {
            failure_ = std::current_exception();
        }
    }

    KXAFiledAudioData2 &data_;
    const int64_t bytesPerFrame_;
    std::byte *destination_;
    bool &seekIsDue_; ///< the walk's position is not where the data is
    std::exception_ptr failure_;
};

} // namespace

RenderSource::RenderSource(PlayerFields &fields, PlaybackPosition &position) : fields_(fields), position_(position) {}

bool RenderSource::isRendering() const noexcept
{
    return renderingSource == this || RenderScope::depth() > 0;
}

AudioUnitRenderActionFlags RenderSource::render(const AudioTimeStamp &time, uint32_t frames,
                                                AudioBuffer &buffer) noexcept
{
    if (!buffer.mData)
        return 0;
    const RenderingScope scope(this);
    std::size_t filled = 0;
    bool jumps = false;
    try {
        fields_.queue().syncKept([&] {
            KXAPlayerParam &param = fields_.param();
            // The input format may change between the chain's request and this read: never beyond the buffer.
            const AudioStreamBasicDescription input = param.inputDesc();
            const int64_t wanted = int64_t{input.mBytesPerFrame} * frames;
            const Read read = readBytes(param, buffer.mData, std::min<int64_t>(wanted, buffer.mDataByteSize));
            filled = static_cast<std::size_t>(read.walk.count);
            const uint32_t held = mayHold(input) ? heldFrames(param) : 0;
            jumps = position_.takeJump();
            note(time, frames, held, read, jumps);
            endOnceHeard(frames, held, read);
        });
    } catch (...) {
        fields_.failure.set(std::current_exception());
        if (fields_.isPlaying) {
            hasEnded_ = true;
            AudioOutputUnitStop(fields_.outputUnit);
            fields_.isPlaying = false;
        }
    }
    if (buffer.mDataByteSize > filled)
        std::memset(static_cast<std::byte *>(buffer.mData) + filled, 0, buffer.mDataByteSize - filled);
    return jumps ? AudioUnitRenderActionFlags{kAudioUnitRenderAction_Discontinuity} : 0;
}

RenderSource::Read RenderSource::read(void *destination, int64_t frames)
{
    return readBytes(fields_.param(), destination, position_.bytesOf(frames));
}

RenderSource::Read RenderSource::readBytes(KXAPlayerParam &param, void *destination, int64_t bytes)
{
    const auto *const source = fields_.sourceNow();
    KXAFiledAudioData2 *const data = source ? source->dataToPlay() : nullptr;
    if (!data)
        return {};
    const auto bytesPerFrame = static_cast<int64_t>(data->bytesPerFrame());
    const LoopRange range = rangeOf(param, data->numFrames() * bytesPerFrame, bytesPerFrame);
    RenderWalk walk(*data, bytesPerFrame, destination, position_.seekIsDue());
    if (position_.seekIsDue())
        walk.seek(param.byteOffset() / std::max<int64_t>(bytesPerFrame, 1));
    const uint64_t underrunsBefore = data->underruns();
    const LoopWalkResult result = walkLoop(range, param.byteOffset(), bytes, walk);
    param.setByteOffset(result.position);
    if (const uint64_t more = data->underruns() - underrunsBefore; more > 0 && fields_.isPlaying)
        underruns_.fetch_add(more, std::memory_order_relaxed);
    if (walk.failure())
        fields_.failure.set(walk.failure());
    return {range, result, walk.failure() != nullptr};
}

LoopRange RenderSource::rangeOf(const KXAPlayerParam &param, int64_t dataSize, int64_t bytesPerFrame) const
{
    const bool loop = param.loop();
    const bool isExporting = fields_.isExporting;
    const bool isFixed = isExporting && exportedRange_;
    const ByteRange range = isFixed ? *exportedRange_ : ByteRange{param.startOffset(), param.endOffset()};
    const bool endsWithRange = !loop && (isFixed || (!isExporting && playsRangeOnce_));
    return {range.start, range.end, endsWithRange ? std::clamp<int64_t>(range.end, 0, dataSize) : dataSize,
            bytesPerFrame, loop};
}

bool RenderSource::mayHold(const AudioStreamBasicDescription &input) const noexcept
{
    return fields_.postConverterUnit || input.mSampleRate != kCanonicalSampleRate;
}

bool RenderSource::chainMayHold() const
{
    return mayHold(fields_.param().inputDesc());
}

uint32_t RenderSource::heldFrames() const
{
    return chainMayHold() ? heldFrames(fields_.param()) : 0;
}

uint32_t RenderSource::heldFrames(const KXAPlayerParam &param)
{
    uint32_t held = 0;
    uint32_t size = sizeof held;
    AudioUnitGetProperty(param.postUnit(), kAudioUnitProperty_HeldFrames, kAudioUnitScope_Global, 0, &held, &size);
    return held;
}

void RenderSource::note(const AudioTimeStamp &time, uint32_t frames, uint32_t held, const Read &read, bool jumps)
{
    const int64_t frame = std::max<int64_t>(read.range.bytesPerFrame, 1);
    const int64_t end = read.range.loop ? std::min(read.range.end, read.range.dataSize) : read.range.dataSize;
    position_.timeline().note({time.mSampleTime, frames, static_cast<uint32_t>(read.walk.count / frame), held,
                               read.walk.first / frame, std::max<int64_t>(read.range.start, 0) / frame, end / frame,
                               read.range.loop, jumps});
    if (fields_.isExporting)
        position_.timeline().clear(read.walk.position / frame); // goes to a file, not to the ear
}

/// At the end, silence goes into the chain until the frames that it holds back are out.
void RenderSource::endOnceHeard(uint32_t frames, uint32_t held, const Read &read)
{
    const int64_t missing = frames - read.walk.count / std::max<int64_t>(read.range.bytesPerFrame, 1);
    silentFrames_ = read.walk.count > 0 ? missing : std::min(silentFrames_ + missing, kNothingYet);
    const bool ends = read.walk.ended || (read.failed && !read.range.loop);
    const bool isOut = (ends && silentFrames_ >= held) || (read.failed && read.range.loop);
    if (!isOut || !fields_.isPlaying)
        return;       // where nothing plays it is an export
    hasEnded_ = true; // before the flag goes: a stop that finds it down forgets the end
    stopFromInside();
}

/// The run ends before the flag goes: who finds the flag down and settles, waits for this callback.
void RenderSource::stopFromInside()
{
    if (!fields_.isPlaying)
        return;
    const OSStatus status = AudioOutputUnitStop(fields_.outputUnit);
    fields_.isPlaying = false;
    _ASSERT_NOERR(status, "-[KXAFilePlayer stop]");
}

} // namespace kx
