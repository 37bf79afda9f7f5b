/// @file
/// Numbers as people type them: what a text begins with counts, the rest does not.
#pragma once

#include <algorithm>
#include <charconv>
#include <limits>
#include <string_view>
#include <system_error>

namespace kx
{

/// The text without the space and the plus sign that may stand before a number. [any]
inline std::string_view numberPart(std::string_view text) noexcept
{
    text.remove_prefix(std::min(text.find_first_not_of(" \t\n\r\f\v"), text.size()));
    if (text.size() > 1 && text[0] == '+' && text[1] != '-')
        text.remove_prefix(1);
    return text;
}

/// The decimal integer that the text begins with, the nearest one of its type where it is too large, 0 where there is
/// none: "88200 frames" is 88200, "12.7" is 12. [any]
template <class Integer> Integer leadingInteger(std::string_view text) noexcept
{
    text = numberPart(text);
    Integer value = 0;
    if (std::from_chars(text.data(), text.data() + text.size(), value).ec == std::errc::result_out_of_range)
        return text[0] == '-' ? std::numeric_limits<Integer>::min() : std::numeric_limits<Integer>::max();
    return value;
}

/// The decimal number that the text begins with, with a point whatever the language; 0 where there is none, or none
/// that is finite. [any]
inline double leadingDouble(std::string_view text) noexcept
{
    text = numberPart(text);
    const std::size_t first = text.starts_with('-') ? 1 : 0;
    if (first >= text.size() || !(text[first] == '.' || (text[first] >= '0' && text[first] <= '9')))
        return 0; // not "inf" or "nan" either
    double value = 0;
    return std::from_chars(text.data(), text.data() + text.size(), value).ec == std::errc{} ? value : 0;
}

/// The number cut to an integer, the nearest one of its type where it is too large; what is not a number is 0. [any]
template <class Integer> Integer clampedInteger(double value) noexcept
{
    constexpr double kLimit = -static_cast<double>(std::numeric_limits<Integer>::min()); // a power of two, so exact
    if (value != value)
        return 0;
    if (value >= kLimit)
        return std::numeric_limits<Integer>::max();
    return value <= -kLimit ? std::numeric_limits<Integer>::min() : static_cast<Integer>(value);
}

} // namespace kx
