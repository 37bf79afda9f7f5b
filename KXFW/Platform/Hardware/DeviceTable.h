#pragma once

#include "KXFW/Platform/Hardware/AudioObject.h"
#include "KXFW/Platform/Hardware/HardwareBackend.h"

#include <vector>

namespace kx
{

inline constexpr uint32_t kDefaultDeviceBufferBytes = 4096;
inline constexpr uint32_t kMinimumSliceFrames = 64;
inline constexpr uint32_t kMaximumSliceFrames = 16384;

/// A present device under its number.
struct DeviceEntry {
    AudioObjectID id = kAudioObjectUnknown;
    DeviceInfo info;
    uint32_t bufferBytes = kDefaultDeviceBufferBytes; ///< whole frames of the device's own format
};

/// All that the hardware properties are answered from, at one moment.
struct HardwareSnapshot {
    std::vector<DeviceEntry> devices;
    AudioObjectID defaultInput = kAudioObjectUnknown;
    AudioObjectID defaultOutput = kAudioObjectUnknown;
    bool sleepingIsAllowed = true;
    bool changesAreUntold = false;

    [[nodiscard]] const DeviceEntry *find(AudioObjectID id) const noexcept;
};

struct PropertyChange {
    AudioObjectID object;
    AudioObjectPropertySelector selector;

    bool operator==(const PropertyChange &) const = default;
};

/// What differs between two moments: the system's properties first, the device list before the defaults.
[[nodiscard]] std::vector<PropertyChange> differences(const HardwareSnapshot &before, const HardwareSnapshot &after);

/// Gives the backend's devices their numbers: a device keeps its number as long as it is present, and no number is
/// given twice. Not thread-safe.
class DeviceTable
{
public:
    [[nodiscard]] const HardwareSnapshot &snapshot() const noexcept { return snapshot_; }

    void update(const HardwareState &state);
    /// Clamped to between kMinimumSliceFrames and kMaximumSliceFrames, cut to whole frames; 0 means the default.
    /// False when there is no such device.
    bool setBufferBytes(AudioObjectID id, uint32_t bytes);
    void setSleepingIsAllowed(bool allowed) noexcept { snapshot_.sleepingIsAllowed = allowed; }
    void setChangesAreUntold(bool untold) noexcept { snapshot_.changesAreUntold = untold; }

private:
    [[nodiscard]] DeviceEntry deviceFor(const DeviceInfo &info);

    HardwareSnapshot snapshot_;
    AudioObjectID nextId_ = kAudioObjectSystemObject + 1;
};

} // namespace kx
