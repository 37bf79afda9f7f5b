#pragma once

#include <cstdint>
#include <string>

namespace kx
{

/// A place in a file as it is spoken, to the nearest tenth of a second: "0 seconds", "1 minute 2.5 seconds", "1 hour".
/// Parts of nothing are left out. The words are texts of the framework. A place before the start is spoken as the
/// start.
/// @param frame of 44,100 a second. [any]
[[nodiscard]] std::string spokenTime(int64_t frame);

} // namespace kx
