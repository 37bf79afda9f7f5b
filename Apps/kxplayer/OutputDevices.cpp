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

/// The number that a property of a device holds; 0 where the device has gone.
uint32_t numberOf(AudioObjectID device, AudioObjectPropertySelector selector)
{
    const AudioObjectPropertyAddress address = addressOf(selector);
    uint32_t number = 0;
    uint32_t size = sizeof number;
    return AudioObjectGetPropertyData(device, &address, 0, nullptr, &size, &number) == noErr ? number : 0;
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
        if (numberOf(id, kAudioDevicePropertyDeviceCanBeDefaultDevice) != 0)
            devices.push_back({id, KXAHardwareManager::nameOfDeviceID(id),
                               numberOf(id, kAudioDevicePropertyTransportType) == kAudioDeviceTransportTypeVirtual});
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
