#pragma once

#include "kx/Error.h"
#include "kx/Visibility.h"

#include <filesystem>
#include <string>
#include <vector>

namespace kx
{

/// The stream description of the file at `path` as text, a line a field. [any] [blocks]
KX_EXPORT Result<std::vector<std::string>> streamDescription(const std::filesystem::path &path);
/// Writes the stream description of the file at `path` to a property list at `destination`. [any] [blocks]
KX_EXPORT Result<> saveStreamDescription(const std::filesystem::path &path, const std::filesystem::path &destination);

/// Writes "linear_dont_play.wav" into `folder`, the home directory where that is empty, and gives its path: 65,536
/// stereo frames of 16 bits, one ramp through every sample value, to compare sound paths with. It is loud.
/// [any] [blocks]
KX_EXPORT Result<std::filesystem::path> makeTestFile(const std::filesystem::path &folder = {});

} // namespace kx
