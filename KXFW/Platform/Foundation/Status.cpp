#include "KXFW/Platform/Foundation/Status.h"

#include "KXFW/Platform/Foundation/CodeText.h"

#include <algorithm>
#include <array>

namespace
{

using kx::StatusEntry;

#define KX_STATUS(constant, text)                                                                                      \
    StatusEntry                                                                                                        \
    {                                                                                                                  \
        constant, #constant, text                                                                                      \
    }

constexpr std::array kTable{
    KX_STATUS(noErr, "no error"),
    KX_STATUS(kExtAudioFileError_InvalidProperty, "the audio file has no such property"),
    KX_STATUS(kExtAudioFileError_InvalidPropertySize, "the property of the audio file has another size"),
    KX_STATUS(kExtAudioFileError_NonPCMClientFormat, "the client format is not linear PCM"),
    KX_STATUS(kExtAudioFileError_InvalidChannelMap, "the channels of the file do not fit those of the client"),
    KX_STATUS(kExtAudioFileError_InvalidOperationOrder, "the audio file is not ready for this operation"),
    KX_STATUS(kExtAudioFileError_InvalidDataFormat, "the format of the audio data is not valid"),
    KX_STATUS(kExtAudioFileError_InvalidSeek, "the position is outside the audio file"),
    KX_STATUS(kAudioFileUnspecifiedError, "the audio file failed for an unknown reason"),
    KX_STATUS(kAudioFileUnsupportedFileTypeError, "the type of the file is not supported"),
    KX_STATUS(kAudioFileUnsupportedDataFormatError, "the format of the audio data is not supported"),
    KX_STATUS(kAudioFileInvalidFileError, "the file is damaged, or not of the type it claims to be"),
    KX_STATUS(kAudioFilePermissionsError, "the file may not be opened"),
    KX_STATUS(kAudioFileUnsupportedPropertyError, "the audio file does not tell this property"),
    KX_STATUS(kAudioFileNotOpenError, "the audio file is not open"),
    KX_STATUS(kAudioFileEndOfFileError, "the end of the file was reached"),
    KX_STATUS(kAudioFilePositionError, "the position in the file is not valid"),
    KX_STATUS(kAudioFileFileNotFoundError, "the file does not exist"),
    KX_STATUS(kAudioFileDiskFullError, "the disk is full"),
    KX_STATUS(kAudioFileReadError, "the disk could not be read"),
    KX_STATUS(kAudioFileWriteError, "the disk could not be written"),
    KX_STATUS(kAudioFileOpeningCancelledError, "opening the file was cancelled"),
    KX_STATUS(kAudioFileNotRespondingError, "the disk does not answer"),
    KX_STATUS(kAudioFileTooLargeError, "the audio is too long for this type of file"),
    KX_STATUS(kAudioHardwareNotRunningError, "the audio hardware is not running"),
    KX_STATUS(kAudioHardwareUnspecifiedError, "the audio hardware failed for an unknown reason"),
    KX_STATUS(kAudioHardwareUnknownPropertyError, "the audio object has no such property"),
    KX_STATUS(kAudioHardwareBadPropertySizeError, "the property of the audio object has another size"),
    KX_STATUS(kAudioHardwareIllegalOperationError, "the audio object does not allow this operation"),
    KX_STATUS(kAudioHardwareBadObjectError, "there is no such audio object"),
    KX_STATUS(kAudioHardwareBadDeviceError, "there is no such audio device"),
    KX_STATUS(kAudioUnitErr_InvalidProperty, "the audio unit has no such property"),
    KX_STATUS(kAudioUnitErr_InvalidParameter, "the audio unit has no such parameter"),
    KX_STATUS(kAudioUnitErr_InvalidElement, "the audio unit has no such element"),
    KX_STATUS(kAudioUnitErr_NoConnection, "nothing is connected to the input of the audio unit"),
    KX_STATUS(kAudioUnitErr_FailedInitialization, "the audio unit could not be set up"),
    KX_STATUS(kAudioUnitErr_TooManyFramesToProcess, "more frames were asked of the audio unit than it takes at once"),
    KX_STATUS(kAudioUnitErr_FormatNotSupported, "the audio unit does not support the stream format"),
    KX_STATUS(kAudioUnitErr_Uninitialized, "the audio unit is not set up"),
    KX_STATUS(kAudioUnitErr_InvalidScope, "the audio unit has no such scope"),
    KX_STATUS(kAudioUnitErr_PropertyNotWritable, "the property of the audio unit cannot be set"),
    KX_STATUS(kAudioUnitErr_CannotDoInCurrentContext, "the audio unit cannot do this now"),
    KX_STATUS(kAudioUnitErr_InvalidPropertyValue, "the property of the audio unit does not take this value"),
    KX_STATUS(kAudioComponentErr_InstanceInvalidated, "the audio unit has gone"),
};

#undef KX_STATUS

const StatusEntry *find(OSStatus status) noexcept
{
    const auto found = std::ranges::find(kTable, status, &StatusEntry::status);
    return found == kTable.end() ? nullptr : &*found;
}

} // namespace

std::string kx::codeText(FourCharCode code)
{
    std::string characters;
    for (int shift = 24; shift >= 0; shift -= 8)
        characters += static_cast<char>(code >> shift);
    const bool printable = std::ranges::all_of(characters, [](char c) { return c >= 0x20 && c <= 0x7e; });
    return printable ? "'" + characters + "'" : std::to_string(static_cast<int32_t>(code));
}

std::span<const kx::StatusEntry> kx::statusTable() noexcept
{
    return kTable;
}

const char *kx::statusName(OSStatus status) noexcept
{
    const StatusEntry *entry = find(status);
    return entry ? entry->name : "unknown status";
}

std::string kx::statusText(OSStatus status)
{
    const StatusEntry *entry = find(status);
    return entry ? entry->text : "unknown error " + codeText(static_cast<FourCharCode>(status));
}
