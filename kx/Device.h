#pragma once

#include "kx/Subscription.h"
#include "kx/Visibility.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kx
{

/// Names a device while it is there; no other device gets the same number later in this process.
using DeviceID = std::uint32_t;

/// A device as it was when it was asked for. A value.
struct Device {
    DeviceID id = 0;
    std::string name; ///< for people, UTF-8
    bool canPlay = false;
    bool canRecord = false;
    bool isDefaultOutput = false;
    bool isDefaultInput = false;
    bool isVirtual = false; ///< it plays to nowhere

    bool operator==(const Device &) const = default;
};

/// The devices that are there now. The first question of the process looks for a sound server, for a second at most.
/// [any] [blocks]
KX_EXPORT std::vector<Device> devices();
/// The device that plays where no other is chosen; nothing where none plays. [any] [blocks]
KX_EXPORT std::optional<Device> defaultOutputDevice();
/// The first device of exactly that name. [any] [blocks]
KX_EXPORT std::optional<Device> deviceNamed(std::string_view name);

/// Calls `listener` after devices have come or gone or a default is another one, on a thread of the library. A burst of
/// changes is told once for each of these. Throws an Exception without memory for it. [any] [blocks]
[[nodiscard]] KX_EXPORT Subscription onDevicesChanged(std::function<void()> listener);

} // namespace kx
