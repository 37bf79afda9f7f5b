#include "KXFW/Audio/Player/PlaybackPosition.h"

#include "KXFW/Platform/Foundation/MonotonicTime.h"
#include "KXFW/Platform/Foundation/NSLog.h"

#include <algorithm>

namespace kx
{

namespace
{

int64_t bytesPerFrameOf(const KXAFiledAudioData2 *data)
{
    return data ? static_cast<int64_t>(data->format().mBytesPerFrame) : 0;
}

} // namespace

int64_t PlaybackPosition::bytesOf(int64_t frames) const
{
    int64_t bytes = 0;
    if (__builtin_mul_overflow(static_cast<int64_t>(fields_.param().inputDesc().mBytesPerFrame), frames, &bytes))
        return frames < 0 ? INT64_MIN : INT64_MAX;
    return bytes;
}

int64_t PlaybackPosition::framesOf(int64_t bytes) const
{
    const auto bytesPerFrame = static_cast<int64_t>(fields_.param().inputDesc().mBytesPerFrame);
    return bytesPerFrame == 0 ? 0 : bytes / bytesPerFrame;
}

bool PlaybackPosition::rangeIsEmpty() const
{
    const auto data = fields_.audioData();
    const int64_t frame = bytesPerFrameOf(data.get());
    if (frame == 0)
        return true;
    const KXAPlayerParam &param = fields_.param();
    const int64_t end = std::min(param.endOffset(), data->bufferSize());
    return std::max<int64_t>(param.startOffset(), 0) / frame >= end / frame;
}

bool PlaybackPosition::jumpTo(int64_t byte)
{
    return unlessExporting([&] { return place(byte); });
}

bool PlaybackPosition::jumpTo(int64_t byte, const ByteRange &range)
{
    return unlessExporting([&] {
        KXAPlayerParam &param = fields_.param();
        param.setStartOffset(range.start);
        param.setEndOffset(range.end);
        return place(byte);
    });
}

/// Makes a change whole on the queue, where an export begins, too.
template <class Change> bool PlaybackPosition::unlessExporting(Change &&change)
{
    if (fields_.refusedWhileExporting("position"))
        return false; // the export may hold the queue, with a disk that hangs
    bool refused = false;
    const bool done = fields_.queue().sync([&] {
        refused = fields_.isExporting;
        return !refused && change();
    });
    if (refused)
        NSLog("position refused: an export is running");
    return done;
}

bool PlaybackPosition::place(int64_t byte)
{
    const auto data = fields_.audioData();
    const int64_t bytesPerFrame = bytesPerFrameOf(data.get());
    if (bytesPerFrame == 0)
        return false;
    KXAPlayerParam &param = fields_.param();
    param.setByteOffset(bounded(byte, data->bufferSize()));
    hasJumped_ = fields_.isPlaying || fields_.isMoving;
    if (hasJumped_)
        timeline_.jump(frame());
    else
        timeline_.clear(frame());                    // nothing of before will be heard
    seek(*data, param.byteOffset() / bytesPerFrame); // last: it raises where the file cannot be read
    return true;
}

bool PlaybackPosition::jumpIntoRange()
{
    const KXAPlayerParam &param = fields_.param();
    const int64_t byte = param.byteOffset();
    return param.loop() && (byte < param.startOffset() || byte > param.endOffset()) && jumpTo(byte);
}

/// A seek that fails is made again before the next read. On the queue.
void PlaybackPosition::seek(KXAFiledAudioData2 &data, int64_t frame)
{
    seekIsDue_ = true;
    data.seek(frame);
    seekIsDue_ = false;
}

int64_t PlaybackPosition::bounded(int64_t byte, int64_t dataSize) const
{
    const KXAPlayerParam &param = fields_.param();
    if (param.loop() && (byte < param.startOffset() || byte > param.endOffset()))
        byte = param.startOffset();
    return std::clamp<int64_t>(byte, 0, dataSize);
}

void PlaybackPosition::beginFile(int64_t bytes)
{
    KXAPlayerParam &param = fields_.param();
    param.setEndOffset(bytes);
    param.setStartOffset(0);
    param.setByteOffset(0);
    seekIsDue_ = false;
    timeline_.clear(0);
    hasJumped_ = true;
}

/// Between two output units it is the beginning of time: what was told last stays.
AudioTimeStamp PlaybackPosition::heardTime() const
{
    AudioTimeStamp heard{};
    uint32_t size = sizeof heard;
    if (AudioUnitGetProperty(fields_.outputUnit, kAudioOutputUnitProperty_HeardTime, kAudioUnitScope_Global, 0, &heard,
                             &size) != noErr)
        heard.mHostTime = monotonicTime();
    return heard;
}

KXAHeardFrame PlaybackPosition::heard()
{
    const AudioTimeStamp time = heardTime();
    return {timeline_.frameAt(time.mSampleTime), time.mHostTime};
}

void PlaybackPosition::takeBackUnheard()
{
    fields_.queue().sync([&] { // so that no jump of another thread is undone
        const auto data = fields_.audioData();
        const int64_t bytesPerFrame = bytesPerFrameOf(data.get());
        stopped();
        const int64_t frame = heard().frame;
        if (bytesPerFrame == 0 || frame == fields_.param().byteOffset() / bytesPerFrame)
            return;
        try {
            fields_.param().setByteOffset(frame * bytesPerFrame);
            seek(*data, frame);
        } catch (...) {
            fields_.failure.set(std::current_exception());
        }
        timeline_.clear(frame);
    });
}

} // namespace kx
