#pragma once

#include "KXFW/Platform/Hardware/HardwareBackend.h"

#include <memory>

namespace kx
{

/// The backend that the environment variable KXFW_AUDIO_BACKEND names, or else one that plays to the first system of
/// the table that has a device, and moves to a better one when that comes. [any] [blocks]
std::unique_ptr<HardwareBackend> makeBackend();

} // namespace kx
