#include "KXFW/Platform/AudioFiles/FileBytes.h"

#include "KXFW/Platform/AudioFiles/FileErrors.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

namespace kx
{

namespace
{

int openForReading(const char *path)
{
    int number = -1;
    do
        number = ::open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    while (number < 0 && errno == EINTR);
    return number;
}

} // namespace

Result<std::shared_ptr<ByteSource>> FileBytes::open(const std::filesystem::path &path)
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
    return std::shared_ptr<ByteSource>(std::make_shared<FileBytes>(std::move(file), info.st_size));
}

int64_t FileBytes::readAt(int64_t offset, void *bytes, int64_t count) noexcept
{
    int64_t done = 0;
    while (done < count) {
        const auto got = ::pread(file_.number(), static_cast<char *>(bytes) + done,
                                 static_cast<std::size_t>(count - done), offset + done);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0) {
            if (done > 0)
                break; // the bytes before the fault are good; the next read meets it at its start
            error_ = kAudioFileReadError;
            return -1;
        }
        if (got == 0)
            break;
        done += got;
    }
    return done;
}

} // namespace kx
