#include "KXFW/Platform/Foundation/FilePlace.h"

#include "KXFW/Platform/Foundation/FileErrors.h"
#include "KXFW/Platform/Foundation/Status.h"

#include <fcntl.h>

#include <cerrno>
#include <climits>

namespace kx
{

namespace
{

constexpr int kMaximumLinks = 40; ///< as many as the kernel follows

bool mayFollow(int folder, const struct stat &link)
{
    struct stat info = {};
    if (::fstat(folder, &info) != 0)
        return false;
    const bool isShared = (info.st_mode & (S_ISVTX | S_IWOTH)) == (S_ISVTX | S_IWOTH);
    return !isShared || link.st_uid == ::geteuid() || link.st_uid == info.st_uid;
}

/// Goes to the folder of `path`, seen from where `place` is.
OSStatus enter(FilePlace &place, const std::filesystem::path &path)
{
    place.name = path.filename();
    if (place.name.empty() || place.name == "." || place.name == "..")
        return kAudioFileUnsupportedFileTypeError;
    const auto parent = path.has_parent_path() ? path.parent_path() : std::filesystem::path(".");
    const int from = place.folder.isOpen() ? place.folder.number() : AT_FDCWD;
    FileDescriptor folder(::openat(from, parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder.isOpen())
        return openFailure(errno);
    place.folder = std::move(folder);
    return noErr;
}

/// Where the link leads that is open as `link`.
StatusOr<std::filesystem::path> targetOf(const FileDescriptor &link)
{
    char target[PATH_MAX];
    const auto length = ::readlinkat(link.number(), "", target, sizeof target);
    if (length < 0)
        return openFailure(errno);
    return std::filesystem::path(std::string(target, static_cast<std::size_t>(length)));
}

} // namespace

StatusOr<FilePlace> findPlace(const std::filesystem::path &path)
{
    FilePlace place;
    OSStatus status = enter(place, path);
    for (int links = 0; status == noErr; ++links) {
        // Owner and target are read from one and the same link, whatever takes its name meanwhile.
        const FileDescriptor entry(
            ::openat(place.folder.number(), place.name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
        if (!entry.isOpen() && errno == ENOENT)
            return place;
        struct stat info = {};
        if (!entry.isOpen() || ::fstat(entry.number(), &info) != 0)
            return openFailure(errno);
        if (!S_ISLNK(info.st_mode)) {
            place.existing = info;
            return place;
        }
        if (links == kMaximumLinks)
            return openFailure(ELOOP);
        if (!mayFollow(place.folder.number(), info))
            return openFailure(EACCES);
        const auto target = targetOf(entry);
        status = target ? enter(place, *target) : target.status();
    }
    return status;
}

} // namespace kx
