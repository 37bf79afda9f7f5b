#include "KXFW/Platform/AudioFiles/AtomicFile.h"

#include "KXFW/Platform/AudioFiles/FileErrors.h"
#include "KXFW/Platform/Foundation/Status.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string_view>

namespace kx
{

namespace
{

constexpr int kMaximumLinks = 40; ///< as many as the kernel follows
constexpr std::size_t kMaximumNameBytes = 255;
constexpr std::string_view kSuffix = ".kx-XXXXXX";

/// The file that a chain of links ends at, there or not.
Result<std::filesystem::path> resolve(std::filesystem::path path)
{
    std::error_code error;
    for (int i = 0; i < kMaximumLinks && std::filesystem::is_symlink(path, error); ++i) {
        const auto target = std::filesystem::read_symlink(path, error);
        if (error)
            return openFailure(error.value());
        path = path.parent_path() / target;
    }
    if (std::filesystem::is_symlink(path, error))
        return openFailure(ELOOP);
    return path;
}

/// The process's file creation mask. The kernel's own call can only be asked by changing it for all threads.
mode_t creationMask()
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("Umask:"))
            return static_cast<mode_t>(std::strtoul(line.c_str() + 6, nullptr, 8));
    return 022;
}

template <class Call> auto uninterrupted(Call call)
{
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

} // namespace

Result<std::unique_ptr<AtomicFile>> AtomicFile::create(const std::filesystem::path &destination, Existing existing)
{
    auto resolved = resolve(destination);
    if (!resolved)
        return resolved.status();
    std::unique_ptr<AtomicFile> file(new AtomicFile);
    file->existing_ = existing;
    if (const OSStatus status = file->inspectExisting(resolved->c_str()); status != noErr)
        return status;
    if (const OSStatus status = file->begin(*resolved); status != noErr)
        return status;
    return file;
}

OSStatus AtomicFile::inspectExisting(const char *path)
{
    struct stat info = {};
    if (::stat(path, &info) != 0) {
        mode_ = 0666 & ~creationMask();
        return errno == ENOENT ? noErr : openFailure(errno);
    }
    if (!S_ISREG(info.st_mode))
        return kAudioFileUnsupportedFileTypeError;
    if (existing_ == Existing::Refuse)
        return kAudioFilePermissionsError;
    if (::access(path, W_OK) != 0) // a rename would replace what must not be written
        return openFailure(errno);
    mode_ = info.st_mode & 07777;
    return noErr;
}

OSStatus AtomicFile::begin(const std::filesystem::path &destination)
{
    name_ = destination.filename();
    if (name_.empty() || name_ == "." || name_ == "..")
        return kAudioFileUnsupportedFileTypeError;
    if (name_.size() > kMaximumNameBytes)
        return openFailure(ENAMETOOLONG);
    const auto parent = destination.has_parent_path() ? destination.parent_path() : std::filesystem::path(".");
    folder_ = FileDescriptor(::open(parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder_.isOpen())
        return openFailure(errno);
    std::string name(".");
    name.append(name_, 0, kMaximumNameBytes - 1 - kSuffix.size()).append(kSuffix);
    std::string path = parent / name;
    file_ = FileDescriptor(::mkostemp(path.data(), O_CLOEXEC));
    if (!file_.isOpen())
        return openFailure(errno);
    temporaryName_ = path.substr(path.size() - name.size());
    return noErr;
}

AtomicFile::~AtomicFile()
{
    if (!temporaryName_.empty())
        ::unlinkat(folder_.number(), temporaryName_.c_str(), 0);
}

OSStatus AtomicFile::fail(int error) noexcept
{
    if (failure_ == noErr)
        failure_ = writeFailure(error);
    return failure_;
}

OSStatus AtomicFile::append(const std::byte *bytes, std::size_t count)
{
    while (failure_ == noErr && count > 0) {
        const auto written = uninterrupted([&] { return ::write(file_.number(), bytes, count); });
        if (written <= 0)
            return fail(written < 0 ? errno : EIO);
        bytes += written;
        count -= static_cast<std::size_t>(written);
    }
    return failure_;
}

OSStatus AtomicFile::overwrite(int64_t offset, const std::byte *bytes, std::size_t count)
{
    while (failure_ == noErr && count > 0) {
        const auto written = uninterrupted([&] { return ::pwrite(file_.number(), bytes, count, offset); });
        if (written <= 0)
            return fail(written < 0 ? errno : EIO);
        bytes += written;
        offset += written;
        count -= static_cast<std::size_t>(written);
    }
    return failure_;
}

OSStatus AtomicFile::commit()
{
    if (failure_ != noErr)
        return failure_;
    if (::fchmod(file_.number(), mode_) != 0 || uninterrupted([&] { return ::fsync(file_.number()); }) != 0)
        return fail(errno);
    if (rename() != 0)
        return fail(errno);
    temporaryName_.clear();
    // The file is whole and in its place; some file systems cannot synchronise a folder, which takes nothing from that.
    uninterrupted([&] { return ::fsync(folder_.number()); });
    return noErr;
}

int AtomicFile::rename() const noexcept
{
    const int folder = folder_.number();
    if (existing_ == Existing::Refuse) {
        const int result = ::renameat2(folder, temporaryName_.c_str(), folder, name_.c_str(), RENAME_NOREPLACE);
        if (result == 0 || (errno != EINVAL && errno != ENOSYS))
            return result;
    }
    return ::renameat(folder, temporaryName_.c_str(), folder, name_.c_str());
}

} // namespace kx
