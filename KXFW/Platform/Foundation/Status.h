#pragma once

#include "KXFW/Platform/Foundation/AudioTypes.h"
#include "KXFW/Platform/Foundation/Export.h"

#include <span>
#include <string>

// Audio files
inline constexpr OSStatus kExtAudioFileError_InvalidProperty = -66561;
inline constexpr OSStatus kExtAudioFileError_InvalidPropertySize = -66562;
inline constexpr OSStatus kExtAudioFileError_NonPCMClientFormat = -66563;
inline constexpr OSStatus kExtAudioFileError_InvalidChannelMap = -66564;
inline constexpr OSStatus kExtAudioFileError_InvalidOperationOrder = -66565;
inline constexpr OSStatus kExtAudioFileError_InvalidDataFormat = -66566;
inline constexpr OSStatus kExtAudioFileError_InvalidSeek = -66568;
inline constexpr OSStatus kAudioFileUnspecifiedError = static_cast<OSStatus>(kx::fourCharCode("wht?"));
inline constexpr OSStatus kAudioFileUnsupportedFileTypeError = static_cast<OSStatus>(kx::fourCharCode("typ?"));
inline constexpr OSStatus kAudioFileUnsupportedDataFormatError = static_cast<OSStatus>(kx::fourCharCode("fmt?"));
inline constexpr OSStatus kAudioFileInvalidFileError = static_cast<OSStatus>(kx::fourCharCode("dta?"));
inline constexpr OSStatus kAudioFilePermissionsError = static_cast<OSStatus>(kx::fourCharCode("prm?"));
inline constexpr OSStatus kAudioFileUnsupportedPropertyError = static_cast<OSStatus>(kx::fourCharCode("pty?"));
inline constexpr OSStatus kAudioFileNotOpenError = -38;
inline constexpr OSStatus kAudioFileEndOfFileError = -39;
inline constexpr OSStatus kAudioFilePositionError = -40;
inline constexpr OSStatus kAudioFileFileNotFoundError = -43;
inline constexpr OSStatus kAudioFileDiskFullError = -34;
inline constexpr OSStatus kAudioFileReadError = -36;  ///< an input/output error, or less than the file announced
inline constexpr OSStatus kAudioFileWriteError = -20; ///< the disk refused bytes for a reason other than room
inline constexpr OSStatus kAudioFileOpeningCancelledError = -128; ///< through the stop token that was given
inline constexpr OSStatus kAudioFileNotRespondingError =
    static_cast<OSStatus>(kx::fourCharCode("tout")); ///< the disk did not answer before the deadline
inline constexpr OSStatus kAudioFileTooLargeError = static_cast<OSStatus>(kx::fourCharCode("siz?"));

// Audio objects
inline constexpr OSStatus kAudioHardwareNotRunningError = static_cast<OSStatus>(kx::fourCharCode("stop"));
inline constexpr OSStatus kAudioHardwareUnspecifiedError = static_cast<OSStatus>(kx::fourCharCode("what"));
inline constexpr OSStatus kAudioHardwareUnknownPropertyError = static_cast<OSStatus>(kx::fourCharCode("who?"));
inline constexpr OSStatus kAudioHardwareBadPropertySizeError = static_cast<OSStatus>(kx::fourCharCode("!siz"));
inline constexpr OSStatus kAudioHardwareIllegalOperationError = static_cast<OSStatus>(kx::fourCharCode("nope"));
inline constexpr OSStatus kAudioHardwareBadObjectError = static_cast<OSStatus>(kx::fourCharCode("!obj"));
inline constexpr OSStatus kAudioHardwareBadDeviceError = static_cast<OSStatus>(kx::fourCharCode("!dev"));

// Audio units
inline constexpr OSStatus kAudioUnitErr_InvalidProperty = -10879;
inline constexpr OSStatus kAudioUnitErr_InvalidParameter = -10878;
inline constexpr OSStatus kAudioUnitErr_InvalidElement = -10877;
inline constexpr OSStatus kAudioUnitErr_NoConnection = -10876;
inline constexpr OSStatus kAudioUnitErr_FailedInitialization = -10875;
inline constexpr OSStatus kAudioUnitErr_TooManyFramesToProcess = -10874;
inline constexpr OSStatus kAudioUnitErr_FormatNotSupported = -10868;
inline constexpr OSStatus kAudioUnitErr_Uninitialized = -10867;
inline constexpr OSStatus kAudioUnitErr_InvalidScope = -10866;
inline constexpr OSStatus kAudioUnitErr_PropertyNotWritable = -10865;
inline constexpr OSStatus kAudioUnitErr_CannotDoInCurrentContext = -10863;
inline constexpr OSStatus kAudioUnitErr_InvalidPropertyValue = -10851;
inline constexpr OSStatus kAudioComponentErr_InstanceInvalidated = -66749; ///< the handle names no living unit

namespace kx
{

struct StatusEntry {
    OSStatus status;
    const char *name; ///< the constant's name
    const char *text; ///< what went wrong, for people; starts in lower case, no full stop
};

/// Every status the platform gives, once each. [any]
KX_EXPORT std::span<const StatusEntry> statusTable() noexcept;
/// The constant's name, or "unknown status". [any]
KX_EXPORT const char *statusName(OSStatus status) noexcept;
/// A sentence part such as "the file does not exist", or "unknown error N". [any]
KX_EXPORT std::string statusText(OSStatus status);

} // namespace kx
