#pragma once

#include "KXFW/Platform/Hardware/HardwareBackend.h"

namespace kx
{

enum class AlsaChoice {
    Cards, ///< what a sound card plays through, mixed where the card's configuration mixes
    All    ///< also "default" and whatever else the configuration names, be it a way to a sound server
};

/// The devices of now; their uids are the names by which the library opens them. The default is "default" where that is
/// asked for, else the first card's. "null" is none: it takes frames as fast as they come. [any]
[[nodiscard]] HardwareState alsaDevices(AlsaChoice choice);

} // namespace kx
