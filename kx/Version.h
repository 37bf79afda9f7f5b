#pragma once

#include "kx/Visibility.h"

#include <compare>
#include <string>

namespace kx
{

/// A version by the rules of semantic versioning (semver.org).
struct Version {
    int major = 0;
    int minor = 0;
    int patch = 0;

    auto operator<=>(const Version &) const = default;
};

/// The version of the library that is loaded, which may be newer than the one that was compiled against. [any]
KX_EXPORT Version version() noexcept;
KX_EXPORT std::string versionText(); ///< "1.0.0". [any]

} // namespace kx
