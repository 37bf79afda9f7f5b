/// @file
/// The output devices as the menu shows them.
#pragma once

#include "KXFW/KXFW.h"

#include <string>
#include <vector>

namespace kxplayer
{

struct OutputDevice {
    AudioObjectID id;
    std::string name; ///< UTF-8
    bool isVirtual;   ///< it plays to nowhere

    bool operator==(const OutputDevice &) const = default;
};

/// The devices that are present now and can play.
std::vector<OutputDevice> presentOutputDevices();

/// Calls a listener of its owner after the list of devices or the default one has changed, on the platform's
/// notification thread; no call is running or comes once it is gone.
class DeviceObserver
{
public:
    /// `listener` gets `owner`, which must outlive the observer.
    DeviceObserver(AudioObjectPropertyListenerProc listener, void *owner);
    ~DeviceObserver();
    DeviceObserver(const DeviceObserver &) = delete;
    DeviceObserver &operator=(const DeviceObserver &) = delete;

private:
    AudioObjectPropertyListenerProc listener_;
    void *owner_;
};

} // namespace kxplayer
