#pragma once

#include "KXFW/Platform/Foundation/Export.h"

#include <array>
#include <concepts>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

namespace kx
{

/// One value of a log line. Texts are borrowed for the length of the call.
using LogArgument = std::variant<int64_t, uint64_t, double, std::string_view>;

/// A format that stands in the source: a text from outside can never be one.
struct LogFormat {
    template <std::size_t N> consteval LogFormat(const char (&literal)[N]) : text(literal, N - 1) {} // NOLINT
    std::string_view text;
};

/// Any number, truth value or text as an argument; a null pointer reads "(null)". [any]
template <class T> LogArgument logArgument(const T &value)
{
    if constexpr (std::same_as<T, bool> || std::signed_integral<T>)
        return static_cast<int64_t>(value);
    else if constexpr (std::unsigned_integral<T>)
        return static_cast<uint64_t>(value);
    else if constexpr (std::floating_point<T>)
        return static_cast<double>(value);
    else if constexpr (std::is_pointer_v<T>)
        return value ? std::string_view(value) : std::string_view("(null)");
    else
        return std::string_view(value);
}

/// Replaces each directive of `format` (%@ %s %c %d %i %u %x %X %f %g %e, with flags, a width and a precision of up to
/// three digits and a length modifier, %%) by the next argument, whatever its type: a value that does not suit the
/// directive prints as itself. Any other directive, and one without an argument, stays as it stands. Numbers look the
/// same in every locale. [any]
KX_EXPORT std::string formatted(std::string_view format, std::span<const LogArgument> arguments);

/// Writes `message` as one whole line, headed by the local time, the process name and its number, to the standard
/// error. Line breaks inside the message are kept. Never waits for a reader: what a pipe, a terminal or a socket does
/// not take at once follows in order from a thread of its own, up to 4 MiB; beyond, lines are dropped, and one in their
/// place tells how many. What waits when the process exits has a second to get out. [any]
KX_EXPORT void writeLogLine(std::string_view message);

} // namespace kx

/// The platform log: one time-stamped line on the standard error a call, never mixed with the lines of other threads.
/// The format is a literal of the source; user texts are arguments. Never from a render callback. [any]
///
///     NSLog("%@ has %d frames", path.string(), frames);
template <class... Arguments> void NSLog(kx::LogFormat format, const Arguments &...arguments)
{
    const std::array<kx::LogArgument, sizeof...(Arguments)> values{kx::logArgument(arguments)...};
    kx::writeLogLine(kx::formatted(format.text, values));
}
