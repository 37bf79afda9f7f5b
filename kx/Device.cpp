#include "kx/Device.h"

#include "KXFW/Audio/KXAHardwareManager.h"
#include "kx/Internal/Errors.h"
#include "kx/Internal/Signal.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace kx
{

namespace
{

constexpr AudioObjectPropertySelector kWatched[] = {
    kAudioHardwarePropertyDevices, kAudioHardwarePropertyDefaultOutputDevice, kAudioHardwarePropertyDefaultInputDevice};

constexpr AudioObjectPropertyAddress addressOf(AudioObjectPropertySelector selector,
                                               AudioObjectPropertyScope scope = kAudioObjectPropertyScopeGlobal)
{
    return {selector, scope, kAudioObjectPropertyElementMaster};
}

/// The number that a property of a device holds; 0 where the device has gone.
uint32_t numberOf(AudioObjectID device, const AudioObjectPropertyAddress &address)
{
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

bool can(AudioObjectID device, AudioObjectPropertyScope scope)
{
    return numberOf(device, addressOf(kAudioDevicePropertyDeviceCanBeDefaultDevice, scope)) != 0;
}

Device deviceOf(AudioObjectID id)
{
    return {.id = id,
            .name = KXAHardwareManager::nameOfDeviceID(id),
            .canPlay = can(id, kAudioDevicePropertyScopeOutput),
            .canRecord = can(id, kAudioDevicePropertyScopeInput),
            .isDefaultOutput = id == KXAHardwareManager::defaultOutputDeviceID(),
            .isDefaultInput = id == KXAHardwareManager::defaultInputDeviceID(),
            .isVirtual =
                numberOf(id, addressOf(kAudioDevicePropertyTransportType)) == kAudioDeviceTransportTypeVirtual};
}

template <class Matches> std::optional<Device> firstDevice(Matches matches)
{
    const std::vector<Device> present = devices();
    const auto found = std::ranges::find_if(present, matches);
    return found == present.end() ? std::nullopt : std::optional(*found);
}

/// A listener of the device list and of both defaults.
class DevicesListener final : public Subscription::Listener, public std::enable_shared_from_this<DevicesListener>
{
public:
    explicit DevicesListener(std::function<void()> heard) : heard_(std::move(heard)) {}

    void begin()
    {
        for (const auto selector : kWatched) {
            const AudioObjectPropertyAddress address = addressOf(selector);
            const OSStatus status = AudioObjectAddPropertyListener(kAudioObjectSystemObject, &address, changed, this);
            if (status != noErr)
                throw Exception(errorOf(status));
        }
    }
    ~DevicesListener() override { end(); } // where not all of it could begin
    void end() noexcept final
    {
        for (const auto selector : kWatched) {
            const AudioObjectPropertyAddress address = addressOf(selector);
            AudioObjectRemovePropertyListener(kAudioObjectSystemObject, &address, changed, this);
        }
    }

private:
    static OSStatus changed(AudioObjectID /*object*/, uint32_t /*count*/,
                            const AudioObjectPropertyAddress * /*addresses*/, void *self)
    {
        const auto stays = static_cast<DevicesListener *>(self)->shared_from_this(); // it may end itself
        Signal<>::callGuarded(stays->heard_);
        return noErr;
    }

    std::function<void()> heard_;
};

} // namespace

std::vector<Device> devices()
{
    std::vector<Device> present;
    for (const AudioObjectID id : presentDevices())
        present.push_back(deviceOf(id));
    return present;
}

std::optional<Device> defaultOutputDevice()
{
    return firstDevice([](const Device &device) { return device.isDefaultOutput; });
}

std::optional<Device> deviceNamed(std::string_view name)
{
    return firstDevice([name](const Device &device) { return device.name == name; });
}

Subscription onDevicesChanged(std::function<void()> listener)
{
    auto devicesListener = std::make_shared<DevicesListener>(std::move(listener));
    devicesListener->begin();
    return Subscription::Listener::subscription(std::move(devicesListener));
}

} // namespace kx
