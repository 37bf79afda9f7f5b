#pragma once

#include "KXFW/Platform/Foundation/Export.h"

#include <string>

namespace kx
{

/// The name as the source has it, or as it stands where it is not a mangled one. [any]
[[nodiscard]] KX_EXPORT std::string demangled(const char *name);

} // namespace kx
