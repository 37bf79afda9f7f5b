#pragma once

#include "KXFW/Platform/Hardware/AudioObject.h"
#include "KXFW/Platform/Hardware/HardwareBackend.h"

namespace kx
{

/// Opens a stream to a device by its object number, with slices of the device's buffer size.
/// kAudioHardwareBadDeviceError when it is not present or has no output. For the output unit. [any] [blocks]
StatusOr<std::unique_ptr<OutputStream>> openOutputStream(AudioObjectID device);

} // namespace kx
