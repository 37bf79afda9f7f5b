#include "Apps/kxplayer/OutputDevices.h"

namespace kxplayer
{

namespace
{

constexpr AudioObjectPropertySelector kWatched[] = {kAudioHardwarePropertyDevices,
                                                    kAudioHardwarePropertyDefaultOutputDevice};

constexpr AudioObjectPropertyAddress addressOf(AudioObjectPropertySelector selector)
{
    return {selector, kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMaster};
}

bool isVirtual(AudioObjectID device)
{
    const AudioObjectPropertyAddress address = addressOf(kAudioDevicePropertyTransportType);
    uint32_t type = kAudioDeviceTransportTypeUnknown;
    uint32_t size = sizeof type;
    return AudioObjectGetPropertyData(device, &address, 0, nullptr, &size, &type) == noErr &&
           type == kAudioDeviceTransportTypeVirtual;
}

/// The device list, cut to the length it had when that was asked for.
std::vector<AudioObjectID> presentDevices()
{
    const AudioObjectPropertyAddress address = addressOf(kAudioHardwarePropertyDevices);
    uint32_t size = 0;
    if (AudioObjectGetPropertyDataSize(kAudioObjectSystemObject, &address, 0, nullptr, &size) != noErr)
        return {};
    std::vector<AudioObjectID> devices(size / sizeof(AudioObjectID));
    if (devices.empty() ||
        AudioObjectGetPropertyData(kAudioObjectSystemObject, &address, 0, nullptr, &size, devices.data()) != noErr)
        return {};
    devices.resize(size / sizeof(AudioObjectID));
    return devices;
}

} // namespace

std::vector<OutputDevice> presentOutputDevices()
{
    std::vector<OutputDevice> devices;
    for (const AudioObjectID id : presentDevices())
        if (const std::string name = KXAHardwareManager::nameOfDeviceID(id); !name.empty()) // else gone meanwhile
            devices.push_back({id, name, isVirtual(id)});
    return devices;
}

DeviceObserver::DeviceObserver(AudioObjectPropertyListenerProc listener, void *owner)
    : listener_(listener), owner_(owner)
{
    for (const auto selector : kWatched) {
        const AudioObjectPropertyAddress address = addressOf(selector);
        AudioObjectAddPropertyListener(kAudioObjectSystemObject, &address, listener_, owner_);
    }
}

DeviceObserver::~DeviceObserver()
{
    for (const auto selector : kWatched) {
        const AudioObjectPropertyAddress address = addressOf(selector);
        AudioObjectRemovePropertyListener(kAudioObjectSystemObject, &address, listener_, owner_);
    }
}

} // namespace kxplayer
