#include "KXFW/Platform/Foundation/StagedFile.h"

#include "KXFW/Platform/Foundation/FileErrors.h"
#include "KXFW/Platform/Foundation/Status.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <string_view>

namespace kx
{

namespace
{

constexpr std::size_t kMaximumNameBytes = 255;
constexpr int kScratchNames = 100; ///< that may be taken before it is given up
constexpr mode_t kNewFile = 0666;  ///< less what the process masks
constexpr mode_t kPermissions = 0777;

/// The name under which the kernel knows an open file.
std::string linkOf(const FileDescriptor &file)
{
    return "/proc/self/fd/" + std::to_string(file.number());
}

} // namespace

StatusOr<std::unique_ptr<StagedFile>> StagedFile::create(const std::filesystem::path &destination, Existing existing)
{
    auto place = findPlace(destination);
    if (!place)
        return place.status();
    std::unique_ptr<StagedFile> file(new StagedFile);
    file->existing_ = existing;
    file->folder_ = std::move(place->folder);
    file->name_ = std::move(place->name);
    if (place->existing)
        if (const OSStatus status = file->inspectExisting(*place->existing); status != noErr)
            return status;
    if (const OSStatus status = file->open(); status != noErr)
        return status;
    return file;
}

OSStatus StagedFile::inspectExisting(const struct stat &info)
{
    if (!S_ISREG(info.st_mode))
        return kAudioFileUnsupportedFileTypeError;
    if (existing_ == Existing::Refuse)
        return kAudioFilePermissionsError;
    // A rename would replace what must not be written.
    if (::faccessat(folder_.number(), name_.c_str(), W_OK, AT_EACCESS) != 0)
        return openFailure(errno);
    mode_ = info.st_mode & kPermissions;
    return noErr;
}

/// Without a name, if the file system can and the kernel tells how to give it one later.
OSStatus StagedFile::open()
{
    const mode_t mode = mode_ ? S_IRUSR | S_IWUSR : kNewFile;
    const int folder = folder_.number();
    file_ =
        FileDescriptor(uninterrupted([&] { return ::openat(folder, ".", O_TMPFILE | O_WRONLY | O_CLOEXEC, mode); }));
    if (file_.isOpen() && ::access(linkOf(file_).c_str(), F_OK) == 0)
        return noErr;
    for (int i = 0; i < kScratchNames; ++i) {
        std::string name = scratchName();
        constexpr int kFlags = O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC;
        file_ = FileDescriptor(uninterrupted([&] { return ::openat(folder, name.c_str(), kFlags, mode); }));
        if (file_.isOpen())
            scratch_ = std::move(name);
        if (file_.isOpen() || errno != EEXIST)
            break;
    }
    return file_.isOpen() ? noErr : openFailure(errno);
}

std::string StagedFile::scratchName() const
{
    constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyz234567";
    uint8_t random[6] = {};
    std::string suffix(".kx-");
    if (::getrandom(random, sizeof random, 0) == sizeof random)
        for (const uint8_t number : random)
            suffix += kLetters[number % kLetters.size()];
    return std::string(".").append(name_, 0, kMaximumNameBytes - 1 - suffix.size()).append(suffix);
}

StagedFile::~StagedFile()
{
    if (!scratch_.empty())
        ::unlinkat(folder_.number(), scratch_.c_str(), 0);
}

OSStatus StagedFile::fail(int error) noexcept
{
    if (failure_ == noErr)
        failure_ = writeFailure(error);
    return failure_;
}

OSStatus StagedFile::append(std::span<const std::byte> bytes)
{
    const int error = failure_ == noErr ? writeAll(file_.number(), bytes) : 0;
    return error != 0 ? fail(error) : failure_;
}

OSStatus StagedFile::overwrite(int64_t offset, std::span<const std::byte> bytes)
{
    const int error = failure_ == noErr ? writeAllAt(file_.number(), offset, bytes) : 0;
    return error != 0 ? fail(error) : failure_;
}

OSStatus StagedFile::commit()
{
    if (failure_ != noErr)
        return failure_;
    if (mode_ && ::fchmod(file_.number(), *mode_) != 0)
        return fail(errno);
    if (uninterrupted([&] { return ::fsync(file_.number()); }) != 0)
        return fail(errno);
    if (!putInPlace())
        return errno == EEXIST ? failure_ = kAudioFilePermissionsError : fail(errno);
    // The file is whole and in its place; some file systems cannot synchronise a folder, which takes nothing from that.
    uninterrupted([&] { return ::fsync(folder_.number()); });
    return noErr;
}

bool StagedFile::putInPlace()
{
    if (!mode_ && takeFreeName())
        return true;
    // Some file systems know neither way to take a free name; a file that has a name can still be renamed there.
    const bool mayRename = mode_ || errno == EEXIST || !scratch_.empty();
    if (existing_ == Existing::Refuse || !mayRename || !takeScratchName() ||
        ::renameat(folder_.number(), scratch_.c_str(), folder_.number(), name_.c_str()) != 0)
        return false;
    scratch_.clear();
    return true;
}

/// Gives the file a further name, which nothing has yet.
bool StagedFile::linkTo(const std::string &name) const
{
    const int folder = folder_.number();
    if (!scratch_.empty())
        return ::linkat(folder, scratch_.c_str(), folder, name.c_str(), 0) == 0;
    return ::linkat(AT_FDCWD, linkOf(file_).c_str(), folder, name.c_str(), AT_SYMLINK_FOLLOW) == 0;
}

/// The destination's name, if nothing has it. Not every file system has both ways for a file with a name.
bool StagedFile::takeFreeName()
{
    const int folder = folder_.number();
    if (!scratch_.empty()) {
        if (::renameat2(folder, scratch_.c_str(), folder, name_.c_str(), RENAME_NOREPLACE) == 0) {
            scratch_.clear();
            return true;
        }
        if (errno != EINVAL && errno != ENOSYS)
            return false;
    }
    return linkTo(name_); // a scratch name goes with this object
}

/// A name from which the file can be renamed, if it has none.
bool StagedFile::takeScratchName()
{
    for (int i = 0; i < kScratchNames && scratch_.empty(); ++i) {
        std::string name = scratchName();
        if (linkTo(name))
            scratch_ = std::move(name);
        else if (errno != EEXIST)
            return false;
    }
    return !scratch_.empty();
}

} // namespace kx
