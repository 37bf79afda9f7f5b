#include "Apps/kxtool/Commands.h"
#include "Apps/kxtool/Failure.h"

#include <iostream>
#include <vector>

namespace kxtool
{

namespace
{

bool isVirtual(AudioObjectID device)
{
    const AudioObjectPropertyAddress address{kAudioDevicePropertyTransportType, kAudioObjectPropertyScopeGlobal,
                                             kAudioObjectPropertyElementMaster};
    uint32_t type = kAudioDeviceTransportTypeUnknown;
    uint32_t size = sizeof type;
    return AudioObjectGetPropertyData(device, &address, 0, nullptr, &size, &type) == noErr &&
           type == kAudioDeviceTransportTypeVirtual;
}

/// The device list, taken at once with its length.
std::vector<AudioObjectID> presentDevices()
{
    const AudioObjectPropertyAddress address{kAudioHardwarePropertyDevices, kAudioObjectPropertyScopeGlobal,
                                             kAudioObjectPropertyElementMaster};
    uint32_t size = 0;
    if (AudioObjectGetPropertyDataSize(kAudioObjectSystemObject, &address, 0, nullptr, &size) != noErr)
        return {};
    std::vector<AudioObjectID> devices(size / sizeof(AudioObjectID));
    if (AudioObjectGetPropertyData(kAudioObjectSystemObject, &address, 0, nullptr, &size, devices.data()) != noErr)
        return {};
    devices.resize(size / sizeof(AudioObjectID));
    return devices;
}

} // namespace

void showDevices()
{
    const AudioObjectID input = KXAHardwareManager::defaultInputDeviceID();
    const AudioObjectID output = KXAHardwareManager::defaultOutputDeviceID();
    for (const AudioObjectID id : presentDevices()) {
        std::cout << id << '\t' << printable(KXAHardwareManager::nameOfDeviceID(id));
        std::cout << (id == input ? "\tdefault input" : "") << (id == output ? "\tdefault output" : "")
                  << (isVirtual(id) ? "\tvirtual" : "") << '\n';
    }
}

} // namespace kxtool
