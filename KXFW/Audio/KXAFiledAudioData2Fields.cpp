// The fields of the file-backed audio data.
#include "KXFW/Audio/KXAFiledAudioData2Impl.h"

std::shared_ptr<KXRingBuffer> KXAFiledAudioData2::ringBuffer() const
{
    return impl_->ringBuffer.get();
}

bool KXAFiledAudioData2::setRingBuffer(std::shared_ptr<KXRingBuffer> ring)
{
    return impl_->setWhileClosed(impl_->ringBuffer, std::move(ring));
}

std::shared_ptr<kx::ByteBlock> KXAFiledAudioData2::bridgeBufferData() const
{
    return impl_->bridgeBufferData.get();
}

bool KXAFiledAudioData2::setBridgeBufferData(std::shared_ptr<kx::ByteBlock> data)
{
    return impl_->setWhileClosed(impl_->bridgeBufferData, std::move(data));
}

std::shared_ptr<kx::SerialQueue> KXAFiledAudioData2::ringBufferQueue() const
{
    return impl_->ringBufferQueue.get();
}

bool KXAFiledAudioData2::setRingBufferQueue(std::shared_ptr<kx::SerialQueue> queue)
{
    return impl_->setWhileClosed(impl_->ringBufferQueue, std::move(queue));
}

std::shared_ptr<kx::SerialQueue> KXAFiledAudioData2::fileAccessQueue() const
{
    return impl_->fileAccessQueue.get();
}

bool KXAFiledAudioData2::setFileAccessQueue(std::shared_ptr<kx::SerialQueue> queue)
{
    return impl_->setWhileClosed(impl_->fileAccessQueue, std::move(queue));
}

std::shared_ptr<kx::SerialQueue> KXAFiledAudioData2::prereadQueue() const
{
    return impl_->prereadQueue.get();
}

bool KXAFiledAudioData2::setPrereadQueue(std::shared_ptr<kx::SerialQueue> queue)
{
    return impl_->setWhileClosed(impl_->prereadQueue, std::move(queue));
}

int64_t KXAFiledAudioData2::fileLengthFrames() const noexcept
{
    return impl_->fileLengthFrames;
}

void KXAFiledAudioData2::setFileLengthFrames(int64_t frames) noexcept
{
    impl_->fileLengthFrames = frames;
}

AudioStreamBasicDescription *KXAFiledAudioData2::fileDataFormatPtr() const noexcept
{
    return impl_->fileDataFormat.get();
}

bool KXAFiledAudioData2::setFileDataFormatPtr(AudioStreamBasicDescription *format)
{
    std::unique_ptr<AudioStreamBasicDescription> taken(format);
    if (impl_->fileRef.load())
        return false;
    impl_->fileDataFormat = std::move(taken);
    return true;
}

ExtAudioFileRef KXAFiledAudioData2::fileRef() const noexcept
{
    return impl_->fileRef;
}

bool KXAFiledAudioData2::setFileRef(ExtAudioFileRef file) noexcept
{
    if (impl_->fileRef.load())
        return false;
    impl_->fixParts();
    impl_->fileRef = file;
    return true;
}

std::filesystem::path KXAFiledAudioData2::fileURL() const
{
    return impl_->fileURL.get();
}

void KXAFiledAudioData2::setFileURL(std::filesystem::path url)
{
    impl_->fileURL.set(std::move(url));
}

void KXAFiledAudioData2::setDiskPatience(std::chrono::milliseconds patience) noexcept
{
    impl_->diskPatience = patience;
}

uint64_t KXAFiledAudioData2::underruns() const noexcept
{
    return impl_->underruns.load(std::memory_order_relaxed);
}

bool KXAFiledAudioData2::endedByFailure() const noexcept
{
    return impl_->endedByFailure;
}
