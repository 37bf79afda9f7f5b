#include "KXFW/Audio/KXAData.h"

#include "KXFW/Platform/Foundation/Guarded.h"
#include "KXFW/Platform/Foundation/NSException.h"

#include <atomic>
#include <mutex>

namespace
{

[[noreturn]] void raiseAbstract()
{
    throw NSGenericException;
}

} // namespace

struct KXAData::Impl {
    std::mutex setting; ///< so that both are of one call
    kx::Guarded<AudioStreamBasicDescription> format;
    std::atomic<uint32_t> bytesPerFrame{0}; ///< the same, for those who ask for no more
};

KXAData::KXAData() : impl_(std::make_unique<Impl>()) {}
KXAData::~KXAData() = default;

AudioStreamBasicDescription KXAData::format() const
{
    return impl_->format.get();
}

uint32_t KXAData::bytesPerFrame() const noexcept
{
    return impl_->bytesPerFrame;
}

void KXAData::setFormat(const AudioStreamBasicDescription &format)
{
    const std::lock_guard guard(impl_->setting);
    impl_->format.set(format);
    impl_->bytesPerFrame = format.mBytesPerFrame;
}

std::shared_ptr<KXAData> KXAData::audioDataWithContentsOfURL(const std::filesystem::path & /*url*/)
{
    return std::make_shared<KXAData>();
}

void KXAData::readToBuffer(void * /*destination*/, uint32_t * /*frames*/)
{
    raiseAbstract();
}

void KXAData::writeFromBuffer(const void * /*source*/, uint32_t * /*frames*/)
{
    raiseAbstract();
}

void KXAData::seek(int64_t /*frame*/)
{
    raiseAbstract();
}

int64_t KXAData::tell()
{
    raiseAbstract();
}

void KXAData::prepareForRead()
{
    raiseAbstract();
}

void KXAData::prepareForWrite()
{
    raiseAbstract();
}

void KXAData::finalizeForRead()
{
    raiseAbstract();
}

void KXAData::finalizeForWrite()
{
    raiseAbstract();
}

int64_t KXAData::numFrames()
{
    raiseAbstract();
}

uint32_t KXAData::fileFormat()
{
    raiseAbstract();
}

uint32_t KXAData::copyToBuffer(void * /*destination*/, uint64_t /*startingByte*/, uint64_t /*numBytes*/)
{
    raiseAbstract();
}

bool KXAData::isZeroSize()
{
    return numFrames() == 0;
}

int64_t KXAData::bufferSize()
{
    const int64_t frames = numFrames();
    return frames * static_cast<int64_t>(bytesPerFrame());
}
