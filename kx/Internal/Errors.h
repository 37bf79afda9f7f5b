/// @file
/// The failures of the layer below, as the errors of this one.
#pragma once

#include "KXFW/Platform/Foundation/NSException.h"
#include "KXFW/Platform/Foundation/Status.h"
#include "kx/Error.h"

#include <exception>
#include <optional>

namespace kx
{

/// Not of noErr. [any]
[[nodiscard]] Error errorOf(OSStatus status, const std::filesystem::path &file = {});
[[nodiscard]] Error errorOf(const NSException &exception, const std::filesystem::path &file = {});     ///< [any]
[[nodiscard]] Error errorOf(const std::exception_ptr &caught, const std::filesystem::path &file = {}); ///< [any]

/// Of a file that was to be made: it is its folder that is not there. [any]
[[nodiscard]] inline Error asOfWriting(Error error)
{
    if (error.code == ErrorCode::NotFound)
        error.reason = "its folder does not exist";
    return error;
}

/// What the layer below tells by a status. [any]
[[nodiscard]] inline Result<void> resultOf(OSStatus status, const std::filesystem::path &file = {})
{
    return status == noErr ? Result<void>() : Result<void>(errorOf(status, file));
}

/// Runs `action`, which returns a result; an exception that leaves it becomes one. [any]
template <class Action> auto caught(const std::filesystem::path &file, Action action) -> decltype(action())
{
    try {
        return action();
    } catch (...) {
        return errorOf(std::current_exception(), file);
    }
}

} // namespace kx
