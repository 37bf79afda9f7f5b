#include "KXFW/Platform/AudioUnits/Units/OutputDevice.h"

#include <algorithm>
#include <vector>

namespace kx
{

namespace
{

constexpr AudioObjectPropertyAddress address(AudioObjectPropertySelector selector)
{
    return {selector, kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMaster};
}

/// A property of one number; 0 where it cannot be had.
uint32_t number(AudioObjectID object, AudioObjectPropertySelector selector)
{
    const auto where = address(selector);
    uint32_t value = 0;
    uint32_t size = sizeof value;
    return AudioObjectGetPropertyData(object, &where, 0, nullptr, &size, &value) == noErr ? value : 0;
}

/// A property of any length; empty where it cannot be had, or has grown between the two questions.
template <class Entry> std::vector<Entry> list(AudioObjectID object, AudioObjectPropertySelector selector)
{
    const auto where = address(selector);
    uint32_t size = 0;
    if (AudioObjectGetPropertyDataSize(object, &where, 0, nullptr, &size) != noErr || size < sizeof(Entry))
        return {};
    std::vector<Entry> entries(size / sizeof(Entry));
    if (AudioObjectGetPropertyData(object, &where, 0, nullptr, &size, entries.data()) != noErr)
        return {};
    entries.resize(std::min(entries.size(), size / sizeof(Entry)));
    return entries;
}

std::vector<AudioObjectID> devices()
{
    return list<AudioObjectID>(kAudioObjectSystemObject, kAudioHardwarePropertyDevices);
}

std::string uidOf(AudioObjectID device)
{
    const auto text = list<char>(device, kAudioDevicePropertyDeviceUID);
    return {text.begin(), std::ranges::find(text, '\0')};
}

} // namespace

OutputDevice defaultDeviceForOutput()
{
    const auto device = presentDevice(number(kAudioObjectSystemObject, kAudioHardwarePropertyDefaultOutputDevice));
    return device ? *device : OutputDevice{};
}

StatusOr<OutputDevice> presentDevice(AudioObjectID device)
{
    if (device == kAudioObjectUnknown)
        return OutputDevice{};
    const auto all = devices();
    auto uid = std::ranges::find(all, device) == all.end() ? std::string() : uidOf(device);
    if (uid.empty())
        return kAudioHardwareBadDeviceError;
    if (number(device, kAudioDevicePropertyDeviceCanBeDefaultDevice) == 0)
        return kAudioHardwareIllegalOperationError;
    return OutputDevice{device, std::move(uid)};
}

AudioObjectID numberOf(const OutputDevice &device)
{
    if (device.uid.empty())
        return kAudioObjectUnknown;
    if (uidOf(device.number) == device.uid)
        return device.number;
    const auto all = devices();
    const auto found = std::ranges::find(all, device.uid, uidOf);
    return found == all.end() ? kAudioObjectUnknown : *found;
}

bool isVirtual(AudioObjectID device)
{
    return number(device, kAudioDevicePropertyTransportType) == kAudioDeviceTransportTypeVirtual;
}

} // namespace kx
