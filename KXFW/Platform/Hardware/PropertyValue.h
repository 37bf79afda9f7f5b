#pragma once

#include "KXFW/Platform/Foundation/StatusOr.h"
#include "KXFW/Platform/Hardware/DeviceTable.h"

#include <cstddef>
#include <vector>

namespace kx
{

/// A property's value on its way to the caller.
struct PropertyValue {
    enum class Kind {
        Fixed, ///< all of it or nothing
        List,  ///< of 32-bit entries; what does not fit is left out
        Text,  ///< with its final zero; all of it or nothing
    };
    Kind kind;
    std::vector<std::byte> bytes;
};

/// The value of a property. A property has one value, whatever the scope and the element it is asked for by; scopes
/// that do not exist have none.
StatusOr<PropertyValue> propertyValue(const HardwareSnapshot &snapshot, AudioObjectID object,
                                      const AudioObjectPropertyAddress &address);

/// Copies `value` into `size` bytes at `data`; `size` becomes what was copied.
OSStatus copyValue(const PropertyValue &value, uint32_t &size, void *data);

/// noErr, or why `object` has no property of that address.
OSStatus checkProperty(const HardwareSnapshot &snapshot, AudioObjectID object,
                       const AudioObjectPropertyAddress &address);

} // namespace kx
