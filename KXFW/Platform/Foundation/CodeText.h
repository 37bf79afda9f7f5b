#pragma once

#include "KXFW/Platform/Foundation/AudioTypes.h"

#include <string>

namespace kx
{

/// A four-character code as text: its characters in quotes where all of them can be printed, else the number. [any]
[[nodiscard]] std::string codeText(FourCharCode code);

} // namespace kx
