#pragma once

#include "KXFW/Platform/Foundation/AudioTypes.h"

namespace kx
{

/// The status for an errno value that opening, finding or creating a file gave. [any]
[[nodiscard]] OSStatus openFailure(int error) noexcept;

/// The status for an errno value that writing, synchronising or renaming gave. [any]
[[nodiscard]] OSStatus writeFailure(int error) noexcept;

} // namespace kx
