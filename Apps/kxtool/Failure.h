#pragma once

#include "kx/Error.h"

#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace kxtool
{

/// `text` for a terminal line: control characters and bytes that are not UTF-8 appear as \xNN.
std::string printable(std::string_view text);

/// The end of a command that could not do its work: one message, exit status 1.
class Failure : public std::runtime_error
{
public:
    Failure(std::string_view file, const std::string &reason) : std::runtime_error(printable(file) + ": " + reason) {}
    explicit Failure(const kx::Error &error)
        : std::runtime_error(error.file.empty() ? error.reason : printable(error.file.string()) + ": " + error.reason)
    {
    }
};

/// A command line that makes no sense whatever the files hold: one message, exit status 2.
class UsageError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// The result's value; throws Failure where there is none.
template <class T> T require(kx::Result<T> result)
{
    if (!result)
        throw Failure(result.error());
    if constexpr (!std::is_void_v<T>)
        return std::move(*result);
}

} // namespace kxtool
