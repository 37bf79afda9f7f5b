#include "KXFW/Platform/Hardware/PropertyValue.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace
{

using kx::PropertyValue;
using kx::StatusOr;
using Kind = PropertyValue::Kind;

constexpr std::array kScopes{kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyScopeWildcard,
                             kAudioDevicePropertyScopeInput, kAudioDevicePropertyScopeOutput};

template <class T> PropertyValue fixed(const T &value)
{
    const auto *begin = reinterpret_cast<const std::byte *>(&value);
    return {Kind::Fixed, {begin, begin + sizeof value}};
}

PropertyValue text(const std::string &value)
{
    const auto *begin = reinterpret_cast<const std::byte *>(value.c_str());
    return {Kind::Text, {begin, begin + value.size() + 1}};
}

PropertyValue deviceList(const std::vector<kx::DeviceEntry> &devices)
{
    PropertyValue list{Kind::List, std::vector<std::byte>(devices.size() * sizeof(AudioObjectID))};
    for (std::size_t i = 0; i < devices.size(); ++i)
        std::memcpy(&list.bytes[i * sizeof(AudioObjectID)], &devices[i].id, sizeof(AudioObjectID));
    return list;
}

StatusOr<PropertyValue> systemValue(const kx::HardwareSnapshot &snapshot, AudioObjectPropertySelector selector)
{
    switch (selector) {
    case kAudioHardwarePropertyDevices:
        return deviceList(snapshot.devices);
    case kAudioHardwarePropertyDefaultInputDevice:
        return fixed(snapshot.defaultInput);
    case kAudioHardwarePropertyDefaultOutputDevice:
        return fixed(snapshot.defaultOutput);
    case kAudioHardwarePropertySleepingIsAllowed:
        return fixed(uint32_t{snapshot.sleepingIsAllowed});
    case kAudioHardwarePropertyChangesAreUntold:
        return fixed(uint32_t{snapshot.changesAreUntold});
    default:
        return kAudioHardwareUnknownPropertyError;
    }
}

StatusOr<PropertyValue> deviceValue(const kx::DeviceEntry &device, const AudioObjectPropertyAddress &address)
{
    switch (address.mSelector) {
    case kAudioDevicePropertyDeviceName:
        return text(device.info.name);
    case kAudioDevicePropertyDeviceUID:
        return text(device.info.uid);
    case kAudioDevicePropertyBufferSize:
        return fixed(device.bufferBytes);
    case kAudioDevicePropertyStreamFormat:
        return fixed(device.info.format);
    case kAudioDevicePropertyDeviceCanBeDefaultDevice:
        return fixed(
            uint32_t{address.mScope == kAudioDevicePropertyScopeInput ? device.info.hasInput : device.info.hasOutput});
    case kAudioDevicePropertyTransportType:
        return fixed(device.info.isVirtual ? kAudioDeviceTransportTypeVirtual : kAudioDeviceTransportTypeUnknown);
    default:
        return kAudioHardwareUnknownPropertyError;
    }
}

} // namespace

StatusOr<PropertyValue> kx::propertyValue(const HardwareSnapshot &snapshot, AudioObjectID object,
                                          const AudioObjectPropertyAddress &address)
{
    const DeviceEntry *device = snapshot.find(object);
    if (object != kAudioObjectSystemObject && device == nullptr)
        return kAudioHardwareBadObjectError;
    if (std::ranges::find(kScopes, address.mScope) == kScopes.end())
        return kAudioHardwareUnknownPropertyError;
    return device != nullptr ? deviceValue(*device, address) : systemValue(snapshot, address.mSelector);
}

OSStatus kx::copyValue(const PropertyValue &value, uint32_t &size, void *data)
{
    std::size_t bytes = value.bytes.size();
    if (value.kind == Kind::List)
        bytes = std::min<std::size_t>(bytes, size / sizeof(uint32_t) * sizeof(uint32_t));
    else if (size < bytes)
        return kAudioHardwareBadPropertySizeError;
    if (bytes > 0)
        std::memcpy(data, value.bytes.data(), bytes);
    size = static_cast<uint32_t>(bytes);
    return noErr;
}

OSStatus kx::checkProperty(const HardwareSnapshot &snapshot, AudioObjectID object,
                           const AudioObjectPropertyAddress &address)
{
    return propertyValue(snapshot, object, address).status();
}
