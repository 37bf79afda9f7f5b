#pragma once

#include "KXFW/Platform/Hardware/HardwareBackend.h"

#include <memory>

namespace kx
{

/// The backend that the environment variable KXFW_AUDIO_BACKEND names, or else the first of the table whose system
/// answers. [any] [blocks]
std::unique_ptr<HardwareBackend> makeBackend();

} // namespace kx
