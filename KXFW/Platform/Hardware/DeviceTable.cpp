#include "KXFW/Platform/Hardware/DeviceTable.h"

#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <algorithm>

namespace
{

using kx::DeviceEntry;
using kx::HardwareSnapshot;
using kx::PropertyChange;

uint32_t saneBufferBytes(uint32_t bytes, const AudioStreamBasicDescription &format) noexcept
{
    const uint32_t frameBytes = std::max(format.mBytesPerFrame, 1u);
    const uint32_t frames = (bytes == 0 ? kx::kDefaultDeviceBufferBytes : bytes) / frameBytes;
    return std::clamp(frames, kx::kMinimumSliceFrames, kx::kMaximumSliceFrames) * frameBytes;
}

bool sameNumbers(const std::vector<DeviceEntry> &a, const std::vector<DeviceEntry> &b)
{
    return std::ranges::equal(a, b, {}, &DeviceEntry::id, &DeviceEntry::id);
}

void addDeviceChanges(const DeviceEntry &before, const DeviceEntry &after, std::vector<PropertyChange> &changes)
{
    if (before.info.name != after.info.name)
        changes.push_back({after.id, kAudioDevicePropertyDeviceName});
    if (!kx::sameFormat(before.info.format, after.info.format))
        changes.push_back({after.id, kAudioDevicePropertyStreamFormat});
    if (before.bufferBytes != after.bufferBytes)
        changes.push_back({after.id, kAudioDevicePropertyBufferSize});
}

/// The number of the device `uid` as a default, where it is present and can be one.
AudioObjectID defaultNumber(const std::vector<DeviceEntry> &devices, const std::string &uid,
                            bool kx::DeviceInfo::*direction) noexcept
{
    const auto found = std::ranges::find_if(
        devices, [&](const DeviceEntry &device) { return device.info.uid == uid && device.info.*direction; });
    return found == devices.end() ? kAudioObjectUnknown : found->id;
}

} // namespace

const DeviceEntry *HardwareSnapshot::find(AudioObjectID id) const noexcept
{
    const auto found = std::ranges::find(devices, id, &DeviceEntry::id);
    return found == devices.end() ? nullptr : &*found;
}

std::vector<PropertyChange> kx::differences(const HardwareSnapshot &before, const HardwareSnapshot &after)
{
    std::vector<PropertyChange> changes;
    if (!sameNumbers(before.devices, after.devices))
        changes.push_back({kAudioObjectSystemObject, kAudioHardwarePropertyDevices});
    if (before.defaultInput != after.defaultInput)
        changes.push_back({kAudioObjectSystemObject, kAudioHardwarePropertyDefaultInputDevice});
    if (before.defaultOutput != after.defaultOutput)
        changes.push_back({kAudioObjectSystemObject, kAudioHardwarePropertyDefaultOutputDevice});
    if (before.sleepingIsAllowed != after.sleepingIsAllowed)
        changes.push_back({kAudioObjectSystemObject, kAudioHardwarePropertySleepingIsAllowed});
    for (const DeviceEntry &device : after.devices)
        if (const DeviceEntry *old = before.find(device.id))
            addDeviceChanges(*old, device, changes);
    return changes;
}

DeviceEntry kx::DeviceTable::deviceFor(const DeviceInfo &info)
{
    DeviceEntry device{kAudioObjectUnknown, info, 0};
    const auto &old = snapshot_.devices;
    const auto known = std::ranges::find(old, info.uid, [](const DeviceEntry &each) { return each.info.uid; });
    if (known != old.end()) {
        device.id = known->id;
        device.bufferBytes = known->bufferBytes;
    } else {
        device.id = nextId_++;
    }
    device.bufferBytes = saneBufferBytes(device.bufferBytes, info.format);
    return device;
}

void kx::DeviceTable::update(const HardwareState &state)
{
    std::vector<DeviceEntry> devices;
    devices.reserve(state.devices.size());
    for (const DeviceInfo &info : state.devices)
        devices.push_back(deviceFor(info));
    snapshot_.devices = std::move(devices);
    snapshot_.defaultInput = defaultNumber(snapshot_.devices, state.defaultInput, &DeviceInfo::hasInput);
    snapshot_.defaultOutput = defaultNumber(snapshot_.devices, state.defaultOutput, &DeviceInfo::hasOutput);
}

bool kx::DeviceTable::setBufferBytes(AudioObjectID id, uint32_t bytes)
{
    const auto found = std::ranges::find(snapshot_.devices, id, &DeviceEntry::id);
    if (found == snapshot_.devices.end())
        return false;
    found->bufferBytes = saneBufferBytes(bytes, found->info.format);
    return true;
}
