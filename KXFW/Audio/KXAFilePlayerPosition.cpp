// Position, range, loop and volume of the player.
#include "KXFW/Audio/KXAFilePlayer.h"
#include "KXFW/Audio/StatusAssertion.h"
#include "KXFW/Platform/Foundation/MonotonicTime.h"
#include "KXFW/Platform/Foundation/NSLog.h"

#include <algorithm>

int64_t KXAFilePlayer::bytesPerInputFrame() const
{
    return static_cast<int64_t>(playerParam()->inputDesc().mBytesPerFrame);
}

/// Limited to what 64 bits hold.
int64_t KXAFilePlayer::bytesOf(int64_t frames) const
{
    int64_t bytes = 0;
    if (__builtin_mul_overflow(bytesPerInputFrame(), frames, &bytes))
        return frames < 0 ? INT64_MIN : INT64_MAX;
    return bytes;
}

int64_t KXAFilePlayer::byteOffset() const noexcept
{
    return playerParam()->byteOffset();
}

int64_t KXAFilePlayer::packetOffset() const
{
    const int64_t bytesPerFrame = bytesPerInputFrame();
    return bytesPerFrame == 0 ? 0 : byteOffset() / bytesPerFrame;
}

int64_t KXAFilePlayer::frameOffset() const
{
    return packetOffset();
}

int64_t KXAFilePlayer::totalPackets() const
{
    const auto data = audioData();
    const auto bytesPerPacket = data ? static_cast<int64_t>(data->format().mBytesPerPacket) : 0;
    return bytesPerPacket == 0 ? 0 : data->bufferSize() / bytesPerPacket;
}

bool KXAFilePlayer::setPositionInByte(int64_t position)
{
    if (refusedWhileExporting("position"))
        return false; // the export may hold the queue, with a disk that hangs
    bool refused = false;
    const bool done = byteOffsetChangeQueue()->sync([&] {
        const auto data = audioData();
        const auto bytesPerFrame = data ? static_cast<int64_t>(data->format().mBytesPerFrame) : 0;
        refused = isExporting_;
        if (bytesPerFrame == 0 || refused)
            return false;
        const auto param = playerParam();
        param->setByteOffset(boundedPosition(position, data->bufferSize()));
        hasJumped_ = isPlaying();
        if (hasJumped_)
            timeline_.jump(frameOffset());
        else
            timeline_.clear(frameOffset());                   // nothing of before will be heard
        seekData(*data, param->byteOffset() / bytesPerFrame); // last: it raises where the file cannot be read
        return true;
    });
    if (refused)
        NSLog("position refused: an export is running");
    return done;
}

/// A seek that fails is made again before the next read. On the queue.
void KXAFilePlayer::seekData(KXAFiledAudioData2 &data, int64_t frame)
{
    seekIsDue_ = true;
    data.seek(frame);
    seekIsDue_ = false;
}

int64_t KXAFilePlayer::boundedPosition(int64_t position, int64_t dataSize) const
{
    const auto param = playerParam();
    if (param->loop() && (position < param->startOffset() || position > param->endOffset()))
        position = param->startOffset();
    return std::clamp<int64_t>(position, 0, dataSize);
}

bool KXAFilePlayer::setPositionInFrame(int64_t frame)
{
    return setPositionInByte(bytesOf(frame));
}

/// Between two output units it is the beginning of time: what was told last stays.
AudioTimeStamp KXAFilePlayer::heardTime() const
{
    AudioTimeStamp heard{};
    uint32_t size = sizeof heard;
    if (AudioUnitGetProperty(outputUnit(), kAudioOutputUnitProperty_HeardTime, kAudioUnitScope_Global, 0, &heard,
                             &size) != noErr)
        heard.mHostTime = kx::monotonicTime();
    return heard;
}

KXAHeardFrame KXAFilePlayer::heardFrame() const
{
    const AudioTimeStamp heard = heardTime();
    return {timeline_.frameAt(heard.mSampleTime), heard.mHostTime};
}

bool KXAFilePlayer::setPositionToHeardFrame()
{
    return setPositionInFrame(heardFrame().frame);
}

/// After a cut: what went into the chain and was not heard will go in again, unless a jump was under way. On the queue,
/// so that no jump of another thread is undone.
void KXAFilePlayer::takeBackUnheard()
{
    byteOffsetChangeQueue()->sync([&] {
        const auto data = audioData();
        const auto bytesPerFrame = data ? static_cast<int64_t>(data->format().mBytesPerFrame) : 0;
        timeline_.stop(heardTime().mSampleTime);
        const int64_t frame = heardFrame().frame;
        if (bytesPerFrame == 0 || frame == byteOffset() / bytesPerFrame)
            return;
        try {
            playerParam()->setByteOffset(frame * bytesPerFrame);
            seekData(*data, frame);
        } catch (...) {
            renderFailure_.set(std::current_exception()); // it cannot be read there: told as when it plays
        }
        timeline_.clear(frame);
    });
}

bool KXAFilePlayer::setOffsetFramesPlay(int64_t play, int64_t start, int64_t end)
{
    if (refusedWhileExporting("position"))
        return false;
    const auto param = playerParam();
    param->setStartOffset(bytesOf(start));
    param->setEndOffset(bytesOf(end));
    return setPositionInFrame(play);
}

bool KXAFilePlayer::setLoop(bool loop)
{
    const ControlGuard guard(controlLock_); // before an export, which sets the flag itself, or refused
    if (refusedWhileExporting("loop"))
        return false;
    playerParam()->setLoop(loop);
    return true;
}

bool KXAFilePlayer::loop() const
{
    return playerParam()->loop();
}

void KXAFilePlayer::setVolume(float volume)
{
    const ControlGuard guard(controlLock_);
    const auto param = playerParam();
    param->setVolume(volume);
    _ASSERT_NOERR(
        AudioUnitSetParameter(outputUnit_, kHALOutputParam_Volume, kAudioUnitScope_Global, 0, param->volume(), 0),
        "-[KXAFilePlayer setVolume:]");
}

float KXAFilePlayer::volume() const
{
    return playerParam()->volume();
}

void KXAFilePlayer::setStartOffset(int64_t bytes)
{
    playerParam()->setStartOffset(bytes);
}

void KXAFilePlayer::setEndOffset(int64_t bytes)
{
    playerParam()->setEndOffset(bytes);
}

void KXAFilePlayer::setStartOffsetInFrame(int64_t frame)
{
    setStartOffset(bytesOf(frame));
}

void KXAFilePlayer::setEndOffsetInFrame(int64_t frame)
{
    willChangeValueForKey("endOffsetInFrame");
    setEndOffset(bytesOf(frame));
    didChangeValueForKey("endOffsetInFrame");
}

int64_t KXAFilePlayer::startOffset() const
{
    return playerParam()->startOffset();
}

int64_t KXAFilePlayer::endOffset() const
{
    return playerParam()->endOffset();
}

int64_t KXAFilePlayer::startOffsetInFrame() const
{
    const int64_t bytesPerFrame = bytesPerInputFrame();
    return bytesPerFrame == 0 ? 0 : startOffset() / bytesPerFrame;
}

int64_t KXAFilePlayer::endOffsetInFrame() const
{
    const int64_t bytesPerFrame = bytesPerInputFrame();
    return bytesPerFrame == 0 ? 0 : endOffset() / bytesPerFrame;
}
