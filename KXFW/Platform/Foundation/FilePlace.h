#pragma once

#include "KXFW/Platform/Foundation/FileDescriptor.h"
#include "KXFW/Platform/Foundation/StatusOr.h"

#include <filesystem>
#include <optional>
#include <string>
#include <sys/stat.h>

namespace kx
{

/// The place that a path names: an entry of a folder that is held open, there or not. Moving the folder does not move
/// the place away from it.
struct FilePlace {
    FileDescriptor folder;
    std::string name;
    std::optional<struct stat> existing; ///< never a link
};

/// Follows the links that the last component names, as far and as warily as the kernel does: in a folder where all may
/// write and only owners may delete, a link is followed only if it belongs to this user or to the folder's owner. A
/// status for a path that names no place. [any] [blocks]
StatusOr<FilePlace> findPlace(const std::filesystem::path &path);

} // namespace kx
