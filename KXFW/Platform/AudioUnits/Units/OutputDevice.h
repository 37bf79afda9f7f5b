#pragma once

#include "KXFW/Platform/Foundation/StatusOr.h"
#include "KXFW/Platform/Hardware/AudioObject.h"

#include <string>

namespace kx
{

/// A device by its number of now and by its lasting name, under which it is found again when it comes back with
/// another number. Without a name it stands for no device.
struct OutputDevice {
    AudioObjectID number = kAudioObjectUnknown;
    std::string uid;
};

/// The system's default output device; no device where there is none. [any]
OutputDevice defaultDeviceForOutput();

/// The device of that number; kAudioHardwareBadDeviceError when it is not present, kAudioHardwareIllegalOperationError
/// when it cannot play. 0 is no device. [any]
StatusOr<OutputDevice> presentDevice(AudioObjectID number);

/// The number that the device has now, or kAudioObjectUnknown. [any]
AudioObjectID numberOf(const OutputDevice &device);

/// True for a device that plays to nowhere. [any]
bool isVirtual(AudioObjectID number);

} // namespace kx
