#pragma once

#include "KXFW/Platform/Foundation/Export.h"

#include <filesystem>

namespace kx
{

/// The user's home directory: HOME where it is an absolute path, else that of the user database, else "/". [any]
KX_EXPORT std::filesystem::path homeDirectory();

} // namespace kx
