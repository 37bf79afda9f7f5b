#pragma once

#include "KXFW/Platform/Hardware/HardwareService.h"
#include "Tests/Support/Handshake.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace kx::test
{

constexpr AudioObjectPropertyAddress anywhere(AudioObjectPropertySelector selector)
{
    return {selector, kAudioObjectPropertyScopeWildcard, kAudioObjectPropertyElementWildcard};
}

/// A property as an array, empty where there is none.
template <class T>
std::vector<T> listOf(const HardwareService &service, AudioObjectID object, AudioObjectPropertySelector selector)
{
    const auto address = anywhere(selector);
    uint32_t size = 0;
    if (service.getSize(object, &address, &size) != noErr)
        return {};
    std::vector<T> entries(size / sizeof(T) + 1); // one more: there is memory in any case
    if (service.getData(object, &address, &size, entries.data()) != noErr)
        return {};
    entries.resize(size / sizeof(T));
    return entries;
}

/// A property of fixed size, 0 where there is none.
template <class T>
T propertyOf(const HardwareService &service, AudioObjectID object, AudioObjectPropertySelector selector)
{
    const auto values = listOf<T>(service, object, selector);
    return values.empty() ? T{} : values[0];
}

inline std::string textOf(const HardwareService &service, AudioObjectID object, AudioObjectPropertySelector selector)
{
    const auto text = listOf<char>(service, object, selector);
    return text.empty() ? "" : text.data();
}

inline std::vector<AudioObjectID> devicesOf(const HardwareService &service)
{
    return listOf<AudioObjectID>(service, kAudioObjectSystemObject, kAudioHardwarePropertyDevices);
}

/// The first device whose name, or UID, is `text`.
inline AudioObjectID deviceOf(const HardwareService &service, const std::string &text,
                              AudioObjectPropertySelector selector = kAudioDevicePropertyDeviceUID)
{
    for (const AudioObjectID id : devicesOf(service))
        if (textOf(service, id, selector) == text)
            return id;
    return kAudioObjectUnknown;
}

inline AudioObjectID defaultOutput(const HardwareService &service)
{
    return propertyOf<AudioObjectID>(service, kAudioObjectSystemObject, kAudioHardwarePropertyDefaultOutputDevice);
}

inline std::string defaultOutputName(const HardwareService &service)
{
    return textOf(service, defaultOutput(service), kAudioDevicePropertyDeviceName);
}

inline std::unique_ptr<OutputStream> openOn(HardwareService &service, const std::string &uid)
{
    auto stream = service.openOutputStream(deviceOf(service, uid));
    if (!stream)
        throw std::runtime_error("no stream to " + uid);
    return std::move(*stream);
}

/// Listens to one property while it lives and counts what it hears.
class TestListener
{
public:
    TestListener(HardwareService &service, AudioObjectID object, AudioObjectPropertySelector selector,
                 std::function<void()> action = {})
        : service_(service), object_(object), address_(anywhere(selector)), action_(std::move(action))
    {
        EXPECT_EQ(add(), noErr);
    }
    ~TestListener() { remove(); }
    TestListener(const TestListener &) = delete;
    TestListener &operator=(const TestListener &) = delete;

    OSStatus add() { return service_.addListener(object_, &address_, &TestListener::heard, this); }
    void remove() { service_.removeListener(object_, &address_, &TestListener::heard, this); }

    [[nodiscard]] int calls() { return heard_.count(); }
    bool waitForCalls(int count) { return heard_.await(count); }
    /// Waits for `condition`, which is asked anew after each call that comes.
    bool waitUntil(const std::function<bool()> &condition)
    {
        for (int seen = calls(); !condition(); seen = calls())
            if (!heard_.await(seen + 1))
                return condition();
        return true;
    }

private:
    static OSStatus heard(AudioObjectID object, uint32_t count, const AudioObjectPropertyAddress *addresses,
                          void *clientData)
    {
        auto &self = *static_cast<TestListener *>(clientData);
        EXPECT_TRUE(object == self.object_ && count == 1 && addresses[0].mSelector == self.address_.mSelector);
        if (self.action_)
            self.action_();
        self.heard_.announce();
        return noErr;
    }

    HardwareService &service_;
    const AudioObjectID object_;
    const AudioObjectPropertyAddress address_;
    const std::function<void()> action_;
    Handshake heard_;
};

} // namespace kx::test
