#pragma once

#include <string>

namespace kx
{

/// The name as the source has it, or as it stands where it is not a mangled one. [any]
[[nodiscard]] std::string demangled(const char *name);

} // namespace kx
