#pragma once

#include <filesystem>
#include <string>

namespace kx
{

/// Where the module of this file name is, beside this library or in the folders it is installed to; empty where it is
/// not installed. [any]
std::filesystem::path findModule(const char *file);

/// The entry point of a module, which stays loaded. Null where it cannot be had; `failure` then says why. [any]
/// [blocks]
void *loadModuleEntry(const char *file, const char *entry, std::string &failure);

} // namespace kx
