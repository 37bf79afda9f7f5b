#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace kxtool
{

/// A place or a length as people write it, in frames of 44,100 a second, to the nearest: frames ("66150"), seconds
/// ("1.5", "3s"), or minutes and hours with them ("1:37.5", "1:02:03"). Nothing where it is none of these, or longer
/// than three years.
std::optional<int64_t> framesOf(std::string_view text);

} // namespace kxtool
