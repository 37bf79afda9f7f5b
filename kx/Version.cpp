#include "kx/Version.h"

namespace kx
{

Version version() noexcept
{
    return {KXFW_VERSION_NUMBERS};
}

std::string versionText()
{
    const Version v = version();
    return std::to_string(v.major) + '.' + std::to_string(v.minor) + '.' + std::to_string(v.patch);
}

} // namespace kx
