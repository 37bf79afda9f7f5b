#include "kx/Internal/Errors.h"

#include <new>
#include <system_error>

namespace kx
{

namespace
{

ErrorCode codeOf(OSStatus status)
{
    switch (status) {
    case kAudioFileFileNotFoundError:
        return ErrorCode::NotFound;
    case kAudioFilePermissionsError:
        return ErrorCode::NotPermitted;
    case kAudioFileUnsupportedFileTypeError:
    case kAudioFileUnsupportedDataFormatError:
    case kExtAudioFileError_InvalidDataFormat:
        return ErrorCode::Unsupported;
    case kAudioFileInvalidFileError:
        return ErrorCode::Damaged;
    case kAudioFileTooLargeError:
        return ErrorCode::TooLarge;
    case kAudioFileReadError:
    case kAudioFileEndOfFileError:
        return ErrorCode::ReadFailed;
    case kAudioFileWriteError:
        return ErrorCode::WriteFailed;
    case kAudioFileDiskFullError:
        return ErrorCode::DiskFull;
    case kAudioFileNotRespondingError:
        return ErrorCode::TimedOut;
    case kAudioFileOpeningCancelledError:
        return ErrorCode::Cancelled;
    case kAudioHardwareBadDeviceError:
    case kAudioHardwareBadObjectError:
        return ErrorCode::NoDevice;
    case kAudioHardwareNotRunningError:
    case kAudioHardwareUnspecifiedError:
    case kAudioUnitErr_FailedInitialization:
        return ErrorCode::DeviceFailed;
    case kAudioUnitErr_InvalidParameter:
    case kAudioUnitErr_InvalidPropertyValue:
    case kAudioUnitErr_FormatNotSupported:
        return ErrorCode::InvalidArgument;
    default:
        return ErrorCode::Other;
    }
}

} // namespace

Error errorOf(OSStatus status, const std::filesystem::path &file)
{
    return {codeOf(status), statusText(status), file};
}

Error errorOf(const NSException &exception, const std::filesystem::path &file)
{
    if (exception.name() == "KXAFilePlayer export refused")
        return {ErrorCode::Busy, exception.reason(), file};
    const auto error = exception.userInfo().find("error");
    const ErrorCode code =
        error == exception.userInfo().end() ? ErrorCode::Other : codeOf(static_cast<OSStatus>(error->second.code));
    return {code, reasonForUser(exception), file};
}

Error errorOf(const std::exception_ptr &caught, const std::filesystem::path &file)
{
    try {
        std::rethrow_exception(caught);
    } catch (const Exception &exception) {
        return exception.error();
    } catch (const NSException &exception) {
        return errorOf(exception, file);
    } catch (const std::bad_alloc &) {
        return {ErrorCode::OutOfMemory, "there is not enough memory", file};
    } catch (const std::system_error &error) {
        const bool lacks = error.code() == std::errc::resource_unavailable_try_again;
        return {lacks ? ErrorCode::OutOfMemory : ErrorCode::Other, error.code().message(), file};
    } catch (...) {
        return {ErrorCode::Other, currentExceptionText(), file};
    }
}

} // namespace kx
