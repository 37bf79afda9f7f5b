// The render path: from the chain's first converter back to the audio data, at the player's byte offset.
#include "KXFW/Audio/KXAFilePlayer.h"
#include "KXFW/Audio/LoopWalk.h"

#include <algorithm>
#include <cstring>

namespace
{

/// The player whose callback this thread is in.
thread_local const KXAFilePlayer *renderingPlayer = nullptr;

class RenderingScope
{
public:
    explicit RenderingScope(const KXAFilePlayer *player) noexcept { renderingPlayer = player; }
    ~RenderingScope() { renderingPlayer = nullptr; }
    RenderingScope(const RenderingScope &) = delete;
    RenderingScope &operator=(const RenderingScope &) = delete;
};

uint32_t readBytes(KXAFiledAudioData2 &data, void *destination, int64_t bytes)
{
    const uint32_t bytesPerFrame = data.format().mBytesPerFrame;
    if (bytesPerFrame == 0 || bytes <= 0)
        return 0;
    auto frames = static_cast<uint32_t>(bytes / static_cast<int64_t>(bytesPerFrame));
    data.readToBuffer(destination, &frames);
    return frames * bytesPerFrame;
}

/// The walk of a render: reads go to the converter's buffer.
class RenderWalk final : public kx::LoopWalkSource
{
public:
    RenderWalk(KXAFiledAudioData2 &data, void *destination)
        : data_(data), destination_(static_cast<std::byte *>(destination))
    {
    }

    int64_t read(int64_t at, int64_t bytes) override { return readBytes(data_, destination_ + at, bytes); }
    void seek(int64_t frame) override { data_.seek(frame); }
    void repeat(int64_t from, int64_t at, int64_t bytes) override
    {
        std::memcpy(destination_ + at, destination_ + from, static_cast<std::size_t>(bytes));
    }

private:
    KXAFiledAudioData2 &data_;
    std::byte *destination_;
};

} // namespace

OSStatus MyRenderCallback3(void *reference, AudioUnitRenderActionFlags * /*flags*/, const AudioTimeStamp * /*time*/,
                           uint32_t /*bus*/, uint32_t frames, AudioBufferList *data)
{
    if (data && data->mNumberBuffers > 0)
        static_cast<KXAFilePlayer *>(reference)->prv_render(frames, data->mBuffers[0]);
    return noErr;
}

uint64_t _read(KXAFilePlayer *player, void *destination, void * /*unused*/, int64_t bytes)
{
    const auto data = player->audioData();
    return data ? readBytes(*data, destination, bytes) : 0;
}

bool KXAFilePlayer::onRenderThread() const noexcept
{
    return renderingPlayer == this;
}

void KXAFilePlayer::prv_render(uint32_t frames, AudioBuffer &buffer) noexcept
{
    const RenderingScope scope(this);
    int64_t count = 0;
    try {
        byteOffsetChangeQueue()->sync([&] {
            // The input format may change between the chain's request and this read: never beyond the buffer.
            const int64_t bytesPerFrame = std::max<int64_t>(bytesPerInputFrame(), 1);
            count = _readToBuffer(buffer.mData, std::min<int64_t>(frames, buffer.mDataByteSize / bytesPerFrame));
        });
    } catch (...) {
        renderFailure_.set(std::current_exception());
        stopFromRenderThread();
    }
    const auto filled = static_cast<std::size_t>(count);
    if (buffer.mDataByteSize > filled)
        std::memset(static_cast<std::byte *>(buffer.mData) + filled, 0, buffer.mDataByteSize - filled);
}

int64_t KXAFilePlayer::_readToBuffer(void *destination, int64_t frames)
{
    const auto data = audioData();
    if (!data)
        return 0;
    const auto param = playerParam();
    const kx::LoopRange range{param->startOffset(), param->endOffset(), data->bufferSize(),
                              static_cast<int64_t>(data->format().mBytesPerFrame), param->loop()};
    RenderWalk walk(*data, destination);
    const int64_t request = static_cast<int64_t>(param->inputDesc().mBytesPerFrame) * frames;
    const kx::LoopWalkResult result = kx::walkLoop(range, param->byteOffset(), request, walk);
    param->setByteOffset(result.position);
    if (result.ended)
        stop();
    return result.count;
}
