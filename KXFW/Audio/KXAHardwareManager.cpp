#include "KXFW/Audio/KXAHardwareManager.h"

#include "KXFW/Platform/Foundation/NSNotificationCenter.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>

int8_t gAnyHardwarePropertyIsUpdated = 0;
int8_t gHardwarePropertyFlags[4] = {0, 0, 0, 0};

namespace
{

constexpr std::array kListenedProperties{kAudioHardwarePropertyDevices, kAudioHardwarePropertyDefaultInputDevice,
                                         kAudioHardwarePropertyDefaultOutputDevice,
                                         kAudioHardwarePropertySleepingIsAllowed};

struct FreeWithC {
    void operator()(void *block) const noexcept { std::free(block); }
};

/// The device list with its length, taken together.
struct DeviceList {
    std::unique_ptr<AudioObjectID, FreeWithC> ids;
    uint32_t count;

    [[nodiscard]] const AudioObjectID *begin() const { return ids.get(); }
    [[nodiscard]] const AudioObjectID *end() const { return ids.get() + (ids ? count : 0); }
};

DeviceList takeDeviceList()
{
    const auto address = KXAHardwareManager::prv_propertyAddressWithPropertyID(kAudioHardwarePropertyDevices);
    const auto room = static_cast<uint32_t>(std::max(KXAHardwareManager::numberOfDevices(), 0));
    uint32_t size = room * static_cast<uint32_t>(sizeof(AudioObjectID));
    // One entry more, the 0 that ends the list; a device that has gone since the count reads as 0 too.
    auto *ids = static_cast<AudioObjectID *>(std::calloc(room + std::size_t{1}, sizeof(AudioObjectID)));
    if (!ids || AudioObjectGetPropertyData(kAudioObjectSystemObject, &address, 0, nullptr, &size, ids) != noErr)
        size = 0;
    return {std::unique_ptr<AudioObjectID, FreeWithC>(ids), size / static_cast<uint32_t>(sizeof(AudioObjectID))};
}

AudioObjectID defaultDevice(AudioObjectPropertySelector property)
{
    const auto address = KXAHardwareManager::prv_propertyAddressWithPropertyID(property);
    AudioObjectID device = kAudioObjectUnknown;
    uint32_t size = sizeof device;
    if (AudioObjectGetPropertyData(kAudioObjectSystemObject, &address, 0, nullptr, &size, &device) != noErr)
        return kAudioObjectUnknown;
    return device;
}

} // namespace

OSStatus MyHardwarePropertyListenerProc(AudioObjectID /*object*/, uint32_t addressCount,
                                        const AudioObjectPropertyAddress *addresses, void * /*clientData*/)
{
    if (addressCount > 0)
        KXAHardwareManager::handleHardwarePropertyChange(addresses[0].mSelector);
    return noErr;
}

KXAHardwareManager::KXAHardwareManager()
{
    registerHardwarePropertyListeners();
    gAnyHardwarePropertyIsUpdated = 0;
}

KXAHardwareManager::~KXAHardwareManager()
{
    prv_unregisterHardwarePropertyListeners();
}

int32_t KXAHardwareManager::numberOfDevices()
{
    const auto address = prv_propertyAddressWithPropertyID(kAudioHardwarePropertyDevices);
    uint32_t size = 0;
    if (AudioObjectGetPropertyDataSize(kAudioObjectSystemObject, &address, 0, nullptr, &size) != noErr)
        return 0;
    return static_cast<int32_t>(size / sizeof(AudioObjectID));
}

AudioObjectID KXAHardwareManager::defaultInputDeviceID()
{
    return defaultDevice(kAudioHardwarePropertyDefaultInputDevice);
}

AudioObjectID KXAHardwareManager::defaultOutputDeviceID()
{
    return defaultDevice(kAudioHardwarePropertyDefaultOutputDevice);
}

AudioObjectID *KXAHardwareManager::deviceIDs()
{
    return takeDeviceList().ids.release();
}

AudioObjectID KXAHardwareManager::deviceIDNamed(const std::string &name)
{
    for (const AudioObjectID device : takeDeviceList())
        if (nameOfDeviceID(device) == name)
            return device;
    return kAudioObjectUnknown;
}

std::string KXAHardwareManager::nameOfDeviceID(AudioObjectID device)
{
    const std::unique_ptr<char, FreeWithC> name(
        cStringPropertyOfDeviceID(device, kAudioDevicePropertyDeviceName, false, 0));
    return name ? name.get() : "";
}

bool KXAHardwareManager::deviceIDIsAlive(AudioObjectID device)
{
    const DeviceList list = takeDeviceList();
    return device != kAudioObjectUnknown && std::find(list.begin(), list.end(), device) != list.end();
}

char *KXAHardwareManager::cStringPropertyOfDeviceID(AudioObjectID device, AudioObjectPropertySelector ofProperty,
                                                    bool isInput, uint32_t forChannel)
{
    const AudioObjectPropertyAddress address{
        ofProperty, isInput ? kAudioDevicePropertyScopeInput : kAudioDevicePropertyScopeOutput, forChannel};
    uint32_t size = 0;
    if (AudioObjectGetPropertyDataSize(device, &address, 0, nullptr, &size) != noErr)
        return nullptr;
    auto *value = static_cast<char *>(std::calloc(size + std::size_t{1}, 1));
    if (value && AudioObjectGetPropertyData(device, &address, 0, nullptr, &size, value) != noErr) {
        std::free(value);
        return nullptr;
    }
    return value;
}

AudioObjectPropertyAddress KXAHardwareManager::prv_propertyAddressWithPropertyID(AudioObjectPropertySelector property)
{
    return {property, kAudioObjectPropertyScopeWildcard, kAudioObjectPropertyElementWildcard};
}

void KXAHardwareManager::handleHardwarePropertyChange(AudioObjectPropertySelector /*property*/) {}

void KXAHardwareManager::registerHardwarePropertyListeners()
{
    for (const auto property : kListenedProperties)
        addMyHardwarePropertyListenerProc(property);
}

void KXAHardwareManager::prv_unregisterHardwarePropertyListeners()
{
    for (const auto property : kListenedProperties)
        prv_removeMyHardwarePropertyListenerProc(property);
}

void KXAHardwareManager::addMyHardwarePropertyListenerProc(AudioObjectPropertySelector property)
{
    const auto address = prv_propertyAddressWithPropertyID(property);
    AudioObjectAddPropertyListener(kAudioObjectSystemObject, &address, MyHardwarePropertyListenerProc, this);
}

void KXAHardwareManager::prv_removeMyHardwarePropertyListenerProc(AudioObjectPropertySelector property)
{
    const auto address = prv_propertyAddressWithPropertyID(property);
    AudioObjectRemovePropertyListener(kAudioObjectSystemObject, &address, MyHardwarePropertyListenerProc, this);
}

void KXAHardwareManager::parseUpdatedProperty()
{
    for (int8_t &flag : gHardwarePropertyFlags)
        if (flag == 1)
            flag = 0;
    NSNotificationCenter::defaultCenter().postNotificationName("HardwarePropertyChanged");
}
