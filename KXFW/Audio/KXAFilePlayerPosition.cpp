// Position, range, loop and volume of the player.
#include "KXFW/Audio/KXAFilePlayer.h"
#include "KXFW/Audio/Player/PlayerEngine.h"

int64_t KXAFilePlayer::byteOffset() const noexcept
{
    return fields_->param().byteOffset();
}

int64_t KXAFilePlayer::packetOffset() const
{
    return engine_->position.frame();
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
    return engine_->position.jumpTo(position);
}

bool KXAFilePlayer::setPositionInFrame(int64_t frame)
{
    return setPositionInByte(engine_->position.bytesOf(frame));
}

KXAHeardFrame KXAFilePlayer::heardFrame() const
{
    return engine_->position.heard();
}

bool KXAFilePlayer::setPositionToHeardFrame()
{
    return setPositionInFrame(heardFrame().frame);
}

bool KXAFilePlayer::setOffsetFramesPlay(int64_t play, int64_t start, int64_t end)
{
    kx::PlaybackPosition &position = engine_->position;
    return position.jumpTo(position.bytesOf(play), {position.bytesOf(start), position.bytesOf(end)});
}

bool KXAFilePlayer::setLoop(bool loop)
{
    const kx::ControlGuard guard(engine_->control); // before an export, which sets the flag itself, or refused
    if (fields_->refusedWhileExporting("loop"))
        return false;
    fields_->param().setLoop(loop);
    return true;
}

bool KXAFilePlayer::loop() const
{
    return fields_->param().loop();
}

void KXAFilePlayer::setPlaysRangeOnce(bool once) noexcept
{
    engine_->source.setPlaysRangeOnce(once);
}

bool KXAFilePlayer::playsRangeOnce() const noexcept
{
    return engine_->source.playsRangeOnce();
}

void KXAFilePlayer::setVolume(float volume)
{
    const kx::ControlGuard guard(engine_->control);
    engine_->chain.setVolume(volume);
}

float KXAFilePlayer::volume() const
{
    return fields_->param().volume();
}

void KXAFilePlayer::setStartOffset(int64_t bytes)
{
    fields_->param().setStartOffset(bytes);
}

void KXAFilePlayer::setEndOffset(int64_t bytes)
{
    fields_->param().setEndOffset(bytes);
}

void KXAFilePlayer::setStartOffsetInFrame(int64_t frame)
{
    setStartOffset(engine_->position.bytesOf(frame));
}

void KXAFilePlayer::setEndOffsetInFrame(int64_t frame)
{
    willChangeValueForKey("endOffsetInFrame");
    setEndOffset(engine_->position.bytesOf(frame));
    didChangeValueForKey("endOffsetInFrame");
}

int64_t KXAFilePlayer::startOffset() const
{
    return fields_->param().startOffset();
}

int64_t KXAFilePlayer::endOffset() const
{
    return fields_->param().endOffset();
}

int64_t KXAFilePlayer::startOffsetInFrame() const
{
    return engine_->position.framesOf(startOffset());
}

int64_t KXAFilePlayer::endOffsetInFrame() const
{
    return engine_->position.framesOf(endOffset());
}
