#pragma once

#include "KXFW/Platform/Foundation/Export.h"

#include <cstdint>
#include <exception>
#include <map>
#include <string>

/// An error as it travels in an exception's user information: who numbers it, and the number.
struct NSError {
    std::string domain;
    int64_t code = 0;
};

/// The error domain of the status assertion.
inline constexpr const char *NSCocoaErrorDomain = "NSCocoaErrorDomain";

/// The exception name that an operation without an implementation throws, as a bare text (`catch (const char *)`).
KX_EXPORT extern const char *const NSGenericException KX_SYMBOL(NSGenericException);

/// The platform's exception: a name, a reason for people, and errors under their keys. A value; copies share nothing.
class KX_EXPORT NSException : public std::exception
{
public:
    using UserInfo = std::map<std::string, NSError>;

    NSException(std::string name, std::string reason, UserInfo userInfo = {}); ///< [any]

    [[nodiscard]] const std::string &name() const noexcept { return name_; }           ///< [any]
    [[nodiscard]] const std::string &reason() const noexcept { return reason_; }       ///< [any]
    [[nodiscard]] const UserInfo &userInfo() const noexcept { return userInfo_; }      ///< [any]
    [[nodiscard]] const char *what() const noexcept override { return text_.c_str(); } ///< "name: reason". [any]

    /// The text that a log line shows for the exception: its reason. [any]
    [[nodiscard]] const std::string &description() const noexcept { return reason_; }

private:
    std::string name_;
    std::string reason_;
    UserInfo userInfo_;
    std::string text_;
};

namespace kx
{

/// User information as one line of text: `{ error = "NSCocoaErrorDomain 2003334207 (wht? ...)"; }`. [any]
KX_EXPORT std::string description(const NSException::UserInfo &userInfo);

/// What went wrong, for people: the text of the status under "error", or without one the exception's reason. [any]
KX_EXPORT std::string reasonForUser(const NSException &exception);

/// What the exception that is being handled says: `what()`, or a bare text that was thrown. Inside a catch block. [any]
KX_EXPORT std::string currentExceptionText();

} // namespace kx
