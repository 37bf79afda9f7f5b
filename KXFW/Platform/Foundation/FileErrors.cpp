#include "KXFW/Platform/Foundation/FileErrors.h"

#include "KXFW/Platform/Foundation/Status.h"

#include <cerrno>

namespace kx
{

OSStatus openFailure(int error) noexcept
{
    switch (error) {
    case ENOENT:
    case ENOTDIR:
    case ELOOP:
    case ENAMETOOLONG:
        return kAudioFileFileNotFoundError;
    case EACCES:
    case EPERM:
    case EROFS:
        return kAudioFilePermissionsError;
    case EISDIR:
    case ENXIO:
    case ENODEV:
        return kAudioFileUnsupportedFileTypeError;
    case ENOSPC:
    case EDQUOT:
        return kAudioFileDiskFullError;
    case EIO:
        return kAudioFileReadError;
    default:
        return kAudioFileUnspecifiedError;
    }
}

OSStatus writeFailure(int error) noexcept
{
    switch (error) {
    case ENOSPC:
    case EDQUOT:
        return kAudioFileDiskFullError;
    case EACCES:
    case EPERM:
    case EROFS:
        return kAudioFilePermissionsError;
    default:
        return kAudioFileWriteError;
    }
}

} // namespace kx
