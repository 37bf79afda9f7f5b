#pragma once

#include "KXFW/Platform/Hardware/HardwareService.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace kx::test
{

inline constexpr std::chrono::seconds kPatience{20}; ///< against hangs only: no test asserts a time

constexpr AudioObjectPropertyAddress anywhere(AudioObjectPropertySelector selector)
{
    return {selector, kAudioObjectPropertyScopeWildcard, kAudioObjectPropertyElementWildcard};
}

/// A property of fixed size, 0 where there is none.
template <class T>
T propertyOf(const HardwareService &service, AudioObjectID object, AudioObjectPropertySelector selector)
{
    T value{};
    uint32_t size = sizeof value;
    const auto address = anywhere(selector);
    return service.getData(object, &address, &size, &value) == noErr ? value : T{};
}

inline std::string textOf(const HardwareService &service, AudioObjectID object, AudioObjectPropertySelector selector)
{
    const auto address = anywhere(selector);
    uint32_t size = 0;
    if (service.getSize(object, &address, &size) != noErr)
        return {};
    std::string text(size, '?');
    service.getData(object, &address, &size, text.data());
    return text.c_str();
}

inline std::vector<AudioObjectID> devicesOf(const HardwareService &service)
{
    const auto address = anywhere(kAudioHardwarePropertyDevices);
    uint32_t size = 0;
    service.getSize(kAudioObjectSystemObject, &address, &size);
    std::vector<AudioObjectID> ids(size / sizeof(AudioObjectID) + 1);
    size = static_cast<uint32_t>(ids.size() * sizeof(AudioObjectID));
    service.getData(kAudioObjectSystemObject, &address, &size, ids.data());
    ids.resize(size / sizeof(AudioObjectID));
    return ids;
}

inline AudioObjectID deviceNamed(const HardwareService &service, const std::string &name)
{
    for (const AudioObjectID id : devicesOf(service))
        if (textOf(service, id, kAudioDevicePropertyDeviceName) == name)
            return id;
    return kAudioObjectUnknown;
}

inline std::string defaultOutputName(const HardwareService &service)
{
    const auto id =
        propertyOf<AudioObjectID>(service, kAudioObjectSystemObject, kAudioHardwarePropertyDefaultOutputDevice);
    return textOf(service, id, kAudioDevicePropertyDeviceName);
}

/// Listens to one property while it lives and counts what it hears.
class TestListener
{
public:
    TestListener(HardwareService &service, AudioObjectID object, AudioObjectPropertySelector selector,
                 std::function<void()> action = {})
        : service_(service), object_(object), address_(anywhere(selector)), action_(std::move(action))
    {
        status_ = service_.addListener(object_, &address_, &TestListener::heard, this);
    }
    ~TestListener() { remove(); }
    TestListener(const TestListener &) = delete;
    TestListener &operator=(const TestListener &) = delete;

    [[nodiscard]] OSStatus status() const { return status_; }
    void add() { service_.addListener(object_, &address_, &TestListener::heard, this); }
    void remove() { service_.removeListener(object_, &address_, &TestListener::heard, this); }

    [[nodiscard]] int calls() const
    {
        const std::lock_guard guard(lock_);
        return calls_;
    }
    /// Waits for `condition`, which is asked anew after each call that comes.
    bool waitUntil(const std::function<bool()> &condition)
    {
        std::unique_lock guard(lock_);
        const auto deadline = std::chrono::steady_clock::now() + kPatience;
        while (!condition())
            if (changed_.wait_until(guard, deadline) == std::cv_status::timeout)
                return condition();
        return true;
    }
    bool waitForCalls(int count)
    {
        return waitUntil([&] { return calls_ >= count; });
    }

private:
    static OSStatus heard(AudioObjectID object, uint32_t count, const AudioObjectPropertyAddress *addresses,
                          void *clientData)
    {
        auto &self = *static_cast<TestListener *>(clientData);
        if (object != self.object_ || count != 1 || addresses[0].mSelector != self.address_.mSelector)
            ADD_FAILURE() << "told of object " << object << " when listening to " << self.object_;
        if (self.action_)
            self.action_();
        const std::lock_guard guard(self.lock_);
        ++self.calls_;
        self.changed_.notify_all();
        return noErr;
    }

    HardwareService &service_;
    const AudioObjectID object_;
    const AudioObjectPropertyAddress address_;
    const std::function<void()> action_;
    OSStatus status_ = noErr;
    mutable std::mutex lock_;
    std::condition_variable changed_;
    int calls_ = 0;
};

} // namespace kx::test
