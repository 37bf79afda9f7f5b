#pragma once

#include "KXFW/Platform/Foundation/NSException.h"

#include <QByteArray>

#include <string>

namespace kx
{

/// An interface file as it was read, under the path that errors name.
struct InterfaceFile {
    static constexpr qint64 kMostBytes = 256 * 1024;
    static constexpr int kDeepestElement = 64; ///< some 20 widgets inside each other, with their layouts

    std::string path;
    QByteArray contents;
};

inline constexpr const char *nibLoadingExceptionName = "NSNibLoadingException";

/// The error of every interface file that cannot be loaded: "PATH: REASON". [any]
[[nodiscard]] NSException nibLoadingException(const std::string &path, const std::string &reason);

/// Reads the resource. Throws when it is not there or too large. [main]
[[nodiscard]] InterfaceFile readInterfaceFile(const std::string &path);

/// The file with its captions, the strings that are not marked `notr`, in the user's language: by the framework's
/// texts in its own files, in others by the application's and then the framework's. Line for line as it was; the file
/// is one that was checked. [main]
[[nodiscard]] InterfaceFile localizedInterfaceFile(const InterfaceFile &file);

/// Throws, with the line where there is one, for what is no interface file of widgets that are known: broken or deeply
/// nested text, unknown classes. Nothing is made yet. [main]
void checkInterfaceFile(const InterfaceFile &file);

} // namespace kx
