#include "KXFW/Platform/AudioFiles/OpeningSource.h"

#include <algorithm>
#include <ctime>

namespace kx
{

namespace
{

constexpr int64_t kFreeBytes = 16 << 20;
constexpr int64_t kReadsOfEachByte = 4;
constexpr std::chrono::milliseconds kFreeTime{500};
constexpr int64_t kBytesPerMillisecond = 32 << 10; ///< no codec takes a tenth of that time to look at a whole file

/// A slow disk and other programs do not use it up.
std::chrono::nanoseconds processorTime() noexcept
{
    timespec now{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

std::chrono::milliseconds earnedTime(int64_t bytes) noexcept
{
    return std::min<std::chrono::milliseconds>(std::chrono::milliseconds(bytes / kBytesPerMillisecond),
                                               std::chrono::hours(24));
}

} // namespace

OpeningSource::OpeningSource(std::shared_ptr<ByteSource> source, std::stop_token stop)
    : source_(std::move(source)), stop_(std::move(stop)),
      latest_(processorTime() + kFreeTime + earnedTime(source_->size())),
      bytesLeft_(std::min(source_->size(), INT64_MAX / 2 / kReadsOfEachByte) * kReadsOfEachByte + kFreeBytes)
{
}

OSStatus OpeningSource::limitPassed() const noexcept
{
    if (stop_.stop_requested())
        return kAudioFileOpeningCancelledError;
    return bytesLeft_ < 0 || processorTime() > latest_ ? kAudioFileInvalidFileError : noErr;
}

int64_t OpeningSource::readAt(int64_t offset, void *bytes, int64_t count) noexcept
{
    if (!isOpening_)
        return source_->readAt(offset, bytes, count);
    if (failure_ == noErr)
        failure_ = limitPassed();
    if (failure_ != noErr)
        return -1;
    const int64_t got = source_->readAt(offset, bytes, count);
    bytesLeft_ -= std::max<int64_t>(got, 0);
    return got;
}

OSStatus OpeningSource::error() const noexcept
{
    return failure_ != noErr ? failure_ : source_->error();
}

OSStatus OpeningSource::finish() noexcept
{
    const bool isCancelled = failure_ == noErr && stop_.stop_requested();
    const OSStatus failure = isCancelled ? kAudioFileOpeningCancelledError : failure_;
    isOpening_ = false;
    failure_ = noErr;
    return failure;
}

} // namespace kx
