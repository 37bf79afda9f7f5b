#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace kx
{

inline constexpr std::size_t kMaximumDeviceNameBytes = 255;

/// A name from outside as valid UTF-8: up to the first zero byte, each byte that belongs to no character replaced by
/// U+FFFD, cut between characters to at most `maximumBytes`.
[[nodiscard]] std::string deviceText(std::string_view bytes, std::size_t maximumBytes = kMaximumDeviceNameBytes);

} // namespace kx
