#include "KXFW/Platform/AudioFiles/DiskFile.h"

#include "KXFW/Platform/Foundation/FileErrors.h"
#include "KXFW/Platform/Foundation/Status.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>

namespace kx
{

namespace
{

constexpr int64_t kBlockBytes = 128 * 1024;
constexpr int64_t kLeastRead = 32 * 1024;          ///< costs little more than a few bytes
constexpr std::chrono::milliseconds kLeastTry{20}; ///< for a disk that does answer, on a machine that is busy

int openForReading(const char *path)
{
    return uninterrupted([&] { return ::open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY); });
}

} // namespace

DiskFile::DiskFile() : queue_("kx.disk") {}

OSStatus DiskFile::open(const std::filesystem::path &path)
{
    try {
        if (!perform([this, path] { openStatus_ = openNow(path); }))
            return kAudioFileNotRespondingError;
    } catch (const std::exception &) { // no memory or no thread for it
        openStatus_ = openNow(path);
    }
    return openStatus_;
}

OSStatus DiskFile::openNow(const std::filesystem::path &path)
{
    // Asked before opening too, as the mere opening of a device can have an effect.
    struct stat info = {};
    if (::stat(path.c_str(), &info) != 0)
        return openFailure(errno);
    if (!S_ISREG(info.st_mode))
        return kAudioFileUnsupportedFileTypeError;
    FileDescriptor file(openForReading(path.c_str()));
    if (!file.isOpen() || ::fstat(file.number(), &info) != 0)
        return openFailure(errno);
    if (!S_ISREG(info.st_mode))
        return kAudioFileUnsupportedFileTypeError;
    if (info.st_size == 0)
        return kAudioFileInvalidFileError;
    file_ = std::move(file);
    size_ = info.st_size;
    return noErr;
}

int64_t DiskFile::read(int64_t offset, void *bytes, int64_t count) noexcept
{
    if (!DiskDeadline::current())
        return readNow(offset, bytes, count);
    if (isHeldUp_)
        return kGivenUp;
    try {
        return readInBlocks(offset, static_cast<std::byte *>(bytes), count);
    } catch (...) { // no memory or no thread for it
        return readNow(offset, bytes, count);
    }
}

int64_t DiskFile::readNow(int64_t offset, void *bytes, int64_t count) noexcept
{
    int64_t done = 0;
    while (done < count) {
        const auto got = uninterrupted([&] {
            return ::pread(file_.number(), static_cast<char *>(bytes) + done, static_cast<std::size_t>(count - done),
                           offset + done);
        });
        if (got < 0)
            return done > 0 ? done : -1; // the bytes before the fault are good; the next read meets it at its start
        if (got == 0)
            break;
        done += got;
    }
    return done;
}

int64_t DiskFile::readInBlocks(int64_t offset, std::byte *bytes, int64_t count)
{
    if (!block_)
        block_ = std::make_unique_for_overwrite<std::byte[]>(kBlockBytes);
    int64_t done = 0;
    while (done < count) {
        const int64_t at = offset + done;
        const int64_t wanted = std::min(count - done, kBlockBytes);
        if (held(at) == 0) {
            if (!perform([this, at, wanted] { fill(at, wanted); }))
                return kGivenUp;
            if (blockCount_ <= 0)
                return done > 0 ? done : blockCount_;
        }
        const int64_t copied = std::min(wanted, held(at));
        std::memcpy(bytes + done, block_.get() + (at - blockOffset_), static_cast<std::size_t>(copied));
        done += copied;
    }
    return done;
}

/// Bytes from `offset` on that are in the block.
int64_t DiskFile::held(int64_t offset) const noexcept
{
    return offset < blockOffset_ ? 0 : std::max<int64_t>(blockOffset_ + blockCount_ - offset, 0);
}

void DiskFile::fill(int64_t offset, int64_t wanted) noexcept
{
    const int64_t ahead = std::max(wanted, kLeastRead);
    blockOffset_ = offset;
    blockCount_ = readNow(offset, block_.get(), ahead);
    if (blockCount_ < 0 && ahead > wanted) // the fault may lie in what nobody has asked for yet
        blockCount_ = readNow(offset, block_.get(), wanted);
}

/// Runs `work` on the file's thread, or here where there is no deadline; false when it was given up.
bool DiskFile::perform(const std::function<void()> &work)
{
    const auto deadline = DiskDeadline::current();
    if (!deadline) {
        work();
        return true;
    }
    std::unique_lock guard(lock_);
    if (isBusy_)
        return false;
    queue_.async([self = shared_from_this(), work] { self->run(work); });
    isBusy_ = true;
    begun_.reset();
    while (isBusy_) {
        const auto latest = std::max(*deadline, begun_.value_or(DiskDeadline::Clock::now()) + kLeastTry);
        if (begun_ && DiskDeadline::Clock::now() >= latest) {
            isHeldUp_ = true;
            return false;
        }
        over_.wait_until(guard, latest);
    }
    return true;
}

void DiskFile::run(const std::function<void()> &work)
{
    {
        const std::lock_guard guard(lock_);
        begun_ = DiskDeadline::Clock::now();
    }
    work();
    const std::lock_guard guard(lock_);
    isBusy_ = false;
    isHeldUp_ = false;
    over_.notify_all();
}

} // namespace kx
