#pragma once

#include "KXFW/KXFW.h"
#include "kx/Error.h"

#include <stdexcept>
#include <string>
#include <string_view>
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
    explicit Failure(const kx::Error &error) : Failure(error.file.string(), error.reason) {}
};

inline void requireSuccess(const kx::Result<> &result)
{
    if (!result)
        throw Failure(result.error());
}

template <class T> T valueOf(kx::Result<T> result)
{
    if (!result)
        throw Failure(result.error());
    return *std::move(result);
}

/// A command line that makes no sense whatever the files hold: one message, exit status 2.
class UsageError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

} // namespace kxtool
