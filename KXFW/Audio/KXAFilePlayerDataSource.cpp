#include "KXFW/Audio/KXAFilePlayerDataSource.h"

#include "KXFW/Audio/Player/LoopWalk.h"
#include "KXFW/Audio/Player/SharedSlot.h"
#include "KXFW/Platform/Dispatch/SerialQueue.h"
#include "KXFW/Platform/Foundation/Guarded.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <utility>
#include <vector>

namespace
{

/// The walk of a pre-render: what it passes goes into the audio data's ring.
class PrerenderWalk final : public kx::LoopWalkSource
{
public:
    explicit PrerenderWalk(KXAFiledAudioData2 &data) : data_(data) {}

    int64_t read(int64_t /*at*/, int64_t bytes) override
    {
        return static_cast<int64_t>(_read2(&data_, nullptr, bytes));
    }
    void seek(int64_t frame) override { data_.seek(frame); }
    // Each pass of a looped range would be dropped from the ring by the seek to the next one.
    void repeat(int64_t /*from*/, int64_t /*at*/, int64_t /*bytes*/) override {}
    [[nodiscard]] bool readsAhead() const override { return true; }

    /// Whether all that was read ahead has been taken.
    [[nodiscard]] bool ranDry() const
    {
        const auto ring = data_.ringBuffer();
        return data_.ringBufferQueue()->sync([&] { return ring->count() == 0; });
    }

private:
    KXAFiledAudioData2 &data_;
};

} // namespace

struct KXAFilePlayerDataSource::Impl {
    kx::SharedSlot<KXAFiledAudioData2> audioData;
    std::atomic<bool> isPlayed{false}; ///< the render path uses the data without a reference
    std::mutex keptLock;
    std::vector<std::shared_ptr<KXAFiledAudioData2>> kept;
    kx::Guarded<std::shared_ptr<KXAPlayerParam>> param{KXAPlayerParam::playerParam()};
};

KXAFilePlayerDataSource::KXAFilePlayerDataSource() : impl_(std::make_unique<Impl>()) {}
KXAFilePlayerDataSource::~KXAFilePlayerDataSource() = default;

std::shared_ptr<KXAFiledAudioData2> KXAFilePlayerDataSource::audioData() const
{
    return impl_->audioData.get();
}

void KXAFilePlayerDataSource::setAudioData(std::shared_ptr<KXAFiledAudioData2> audioData)
{
    auto old = impl_->audioData.exchange(std::move(audioData));
    const std::lock_guard guard(impl_->keptLock);
    if (old && impl_->isPlayed)
        impl_->kept.push_back(std::move(old));
}

/// Lives as long as the source. Who marks it after an exchange finds what is new.
KXAFiledAudioData2 *KXAFilePlayerDataSource::dataToPlay() const noexcept
{
    if (!impl_->isPlayed)
        impl_->isPlayed = true;
    return impl_->audioData.now();
}

std::shared_ptr<KXAPlayerParam> KXAFilePlayerDataSource::param() const
{
    return impl_->param.get();
}

void KXAFilePlayerDataSource::setParam(std::shared_ptr<KXAPlayerParam> param)
{
    if (param)
        impl_->param.set(std::move(param));
}

std::shared_ptr<KXAFilePlayerDataSource>
KXAFilePlayerDataSource::dataSourceWithContentsOfURL(const std::filesystem::path &url, const std::stop_token &stop)
{
    return of(KXAFiledAudioData2::audioDataWithContentsOfURL(url, stop));
}

std::shared_ptr<KXAFilePlayerDataSource>
KXAFilePlayerDataSource::dataSourceWithContentsOfURL(const std::filesystem::path &url, const std::stop_token &stop,
                                                     OSStatus *why)
{
    return of(KXAFiledAudioData2::audioDataWithContentsOfURL(url, stop, why));
}

/// With the whole of the data as the range; null without data.
std::shared_ptr<KXAFilePlayerDataSource> KXAFilePlayerDataSource::of(std::shared_ptr<KXAFiledAudioData2> data)
{
    if (!data)
        return nullptr;
    auto source = std::make_shared<KXAFilePlayerDataSource>();
    source->setAudioData(data);
    const auto param = source->param();
    param->setEndOffset(static_cast<int64_t>(data->format().mBytesPerFrame) * data->numFrames());
    param->setStartOffset(0);
    param->setByteOffset(0);
    return source;
}

void KXAFilePlayerDataSource::readToBuffer(void *destination, uint32_t *numFrames)
{
    if (const auto data = audioData())
        data->readToBuffer(destination, numFrames);
    else
        *numFrames = 0;
}

void KXAFilePlayerDataSource::seek(int64_t frame)
{
    const auto data = audioData();
    if (!data)
        return;
    data->seek(frame);
    param()->setByteOffset(frame * static_cast<int64_t>(data->format().mBytesPerFrame));
}

void KXAFilePlayerDataSource::prerenderToBuffer(void * /*destination*/, uint32_t frames)
{
    const auto data = audioData();
    const auto settings = param();
    const int64_t size = data ? data->bufferSize() : 0;
    const uint32_t request = settings->inputDesc().mBytesPerFrame * frames;
    if (size <= 0 || request == 0)
        return;
    PrerenderWalk walk(*data);
    const kx::LoopRange range{settings->startOffset(), settings->endOffset(), size,
                              static_cast<int64_t>(data->format().mBytesPerFrame), settings->loop()};
    const int64_t position = settings->byteOffset() % size;
    kx::LoopWalkResult result = kx::walkLoop(range, position, request, walk);
    const bool canTurn = range.loop && range.start < std::min(range.end, size);
    if (result.count == 0 && canTurn && walk.ranDry() && !ExtAudioFileIsHeldUp(data->fileRef())) {
        // A seek reads a second ahead: the file has ended though the position has not come there.
        walk.seek(range.start / range.bytesPerFrame);
        result = kx::walkLoop(range, range.start, request, walk);
    }
    if (result.count > 0 || result.position != position)
        settings->setByteOffset(result.position);
}

uint64_t _read2(KXAFiledAudioData2 *audioData, void * /*destination*/, int64_t bytes)
{
    const uint32_t bytesPerFrame = audioData->format().mBytesPerFrame;
    if (bytesPerFrame == 0 || bytes <= 0)
        return 0;
    const auto frames = static_cast<uint32_t>(bytes / static_cast<int64_t>(bytesPerFrame));
    return audioData->prereadFrames(frames) * bytesPerFrame;
}
