// The render path: from the chain's first converter back to the audio data, at the player's byte offset.
#include "KXFW/Audio/KXAFilePlayerCallbacks.h"
#include "KXFW/Audio/LoopWalk.h"
#include "KXFW/Platform/AudioUnits/RenderScope.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace
{

/// The player whose callback this thread is in.
thread_local const KXAFilePlayer *renderingPlayer = nullptr;

class RenderingScope
{
public:
    explicit RenderingScope(const KXAFilePlayer *player) noexcept : before_(std::exchange(renderingPlayer, player)) {}
    ~RenderingScope() { renderingPlayer = before_; }
    RenderingScope(const RenderingScope &) = delete;
    RenderingScope &operator=(const RenderingScope &) = delete;

private:
    const KXAFilePlayer *before_;
};

uint32_t readWholeFrames(KXAFiledAudioData2 &data, void *destination, int64_t bytes)
{
    const uint32_t bytesPerFrame = data.format().mBytesPerFrame;
    if (bytesPerFrame == 0 || bytes <= 0)
        return 0;
    auto frames = static_cast<uint32_t>(bytes / static_cast<int64_t>(bytesPerFrame));
    data.readToBuffer(destination, &frames);
    return frames * bytesPerFrame;
}

/// The walk of a render: reads go to the converter's buffer. What fails is kept and ends the walk, so that what was
/// read before it is heard, and the position stays in step with the data.
class RenderWalk final : public kx::LoopWalkSource
{
public:
    RenderWalk(KXAFiledAudioData2 &data, void *destination, bool &seekIsDue)
        : data_(data), destination_(static_cast<std::byte *>(destination)), seekIsDue_(seekIsDue)
    {
    }

    int64_t read(int64_t at, int64_t bytes) override
    {
        uint32_t got = 0;
        attempt([&] { got = readWholeFrames(data_, destination_ + at, bytes); });
        return got;
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
    std::byte *destination_;
    bool &seekIsDue_; ///< the walk's position is not where the data is
    std::exception_ptr failure_;
};

/// Asked only where there is an effect or a change of rate that may hold any.
uint32_t heldFramesOf(const KXAPlayerParam &param, AudioUnit postConverter, double inputRate)
{
    uint32_t held = 0;
    uint32_t size = sizeof held;
    if (postConverter || inputRate != kx::kCanonicalSampleRate)
        AudioUnitGetProperty(param.postUnit(), kAudioUnitProperty_HeldFrames, kAudioUnitScope_Global, 0, &held, &size);
    return held;
}

} // namespace

OSStatus MyRenderCallback3(void *reference, AudioUnitRenderActionFlags *flags, const AudioTimeStamp *time,
                           uint32_t /*bus*/, uint32_t frames, AudioBufferList *data)
{
    if (!data || data->mNumberBuffers == 0)
        return noErr;
    auto *const player = static_cast<KXAFilePlayer *>(reference);
    const auto told = player->prv_render(time ? *time : AudioTimeStamp{}, frames, data->mBuffers[0]);
    if (flags)
        *flags |= told;
    return noErr;
}

uint64_t _read(KXAFilePlayer *player, void *destination, void * /*unused*/, int64_t bytes)
{
    const auto data = player->audioData();
    return data ? readWholeFrames(*data, destination, bytes) : 0;
}

/// In this player's callback, or in the render of another unit that pulls on the same thread.
bool KXAFilePlayer::onRenderThread() const noexcept
{
    return renderingPlayer == this || kx::RenderScope::depth() > 0;
}

/// One read: the walk that was taken, what came of it, and whether a failure ended it.
struct KXAFilePlayer::SliceRead {
    kx::LoopRange range{};
    kx::LoopWalkResult walk{};
    bool failed = false;
};

AudioUnitRenderActionFlags KXAFilePlayer::prv_render(const AudioTimeStamp &time, uint32_t frames,
                                                     AudioBuffer &buffer) noexcept
{
    if (!buffer.mData)
        return 0;
    const RenderingScope scope(this);
    std::size_t filled = 0;
    bool jumps = false;
    try {
        byteOffsetChangeQueue()->sync([&] {
            const auto param = playerParam(); // each look at it and at the format takes a lock: once a slice
            const AudioStreamBasicDescription input = param->inputDesc();
            // The input format may change between the chain's request and this read: never beyond the buffer.
            const int64_t wanted = int64_t{input.mBytesPerFrame} * frames;
            const SliceRead read = readBytes(*param, buffer.mData, std::min<int64_t>(wanted, buffer.mDataByteSize));
            filled = static_cast<std::size_t>(read.walk.count);
            const uint32_t held = heldFramesOf(*param, postConverterUnit(), input.mSampleRate);
            jumps = hasJumped_.exchange(false);
            noteSlice(time, frames, held, read, jumps);
            stopOnceHeard(frames, held, read);
        });
    } catch (...) {
        renderFailure_.set(std::current_exception());
        hasEnded_ = isPlaying_.load();
        stopSilentlyFromRenderThread();
    }
    if (buffer.mDataByteSize > filled)
        std::memset(static_cast<std::byte *>(buffer.mData) + filled, 0, buffer.mDataByteSize - filled);
    return jumps ? AudioUnitRenderActionFlags{kAudioUnitRenderAction_Discontinuity} : 0;
}

int64_t KXAFilePlayer::_readToBuffer(void *destination, int64_t frames)
{
    const SliceRead read = readBytes(*playerParam(), destination, bytesOf(frames));
    if (read.walk.ended || read.failed)
        stop();
    return read.walk.count;
}

KXAFilePlayer::SliceRead KXAFilePlayer::readBytes(KXAPlayerParam &param, void *destination, int64_t bytes)
{
    const auto data = audioData();
    if (!data)
        return {};
    const int64_t end = param.endOffset();
    const bool loop = param.loop();
    const bool endsWithRange = !loop && (isExporting_ ? exportsExactly_ : playsRangeOnce_);
    const int64_t size = data->bufferSize();
    const kx::LoopRange range{param.startOffset(), end, endsWithRange ? std::clamp<int64_t>(end, 0, size) : size,
                              static_cast<int64_t>(data->format().mBytesPerFrame), loop};
    RenderWalk walk(*data, destination, seekIsDue_);
    if (seekIsDue_)
        walk.seek(param.byteOffset() / std::max<int64_t>(range.bytesPerFrame, 1));
    const kx::LoopWalkResult result = kx::walkLoop(range, param.byteOffset(), bytes, walk);
    param.setByteOffset(result.position);
    if (walk.failure())
        renderFailure_.set(walk.failure());
    return {range, result, walk.failure() != nullptr};
}

uint32_t KXAFilePlayer::prv_heldFrames() const
{
    const auto param = playerParam();
    return heldFramesOf(*param, postConverterUnit(), param->inputDesc().mSampleRate);
}

void KXAFilePlayer::noteSlice(const AudioTimeStamp &time, uint32_t frames, uint32_t held, const SliceRead &read,
                              bool jumps)
{
    const int64_t frame = std::max<int64_t>(read.range.bytesPerFrame, 1);
    const int64_t end = read.range.loop ? std::min(read.range.end, read.range.dataSize) : read.range.dataSize;
    timeline_.note({time.mSampleTime, frames, static_cast<uint32_t>(read.walk.count / frame), held,
                    read.walk.first / frame, std::max<int64_t>(read.range.start, 0) / frame, end / frame,
                    read.range.loop, jumps});
    if (isExporting_)
        timeline_.clear(read.walk.position / frame); // goes to a file, not to the ear
}

/// At the end, silence goes into the chain until the frames that it holds back are out.
void KXAFilePlayer::stopOnceHeard(uint32_t frames, uint32_t held, const SliceRead &read)
{
    const int64_t missing = frames - read.walk.count / std::max<int64_t>(read.range.bytesPerFrame, 1);
    silentFrames_ = read.walk.count > 0 ? missing : std::min(silentFrames_ + missing, kNothingYet);
    const bool ends = read.walk.ended || (read.failed && !read.range.loop);
    if ((ends && silentFrames_ >= held) || (read.failed && read.range.loop))
        endFromRenderThread();
}
