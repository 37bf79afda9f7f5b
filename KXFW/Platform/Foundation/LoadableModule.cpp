#include "KXFW/Platform/Foundation/LoadableModule.h"

#include <dlfcn.h>

#include <cstring>

namespace kx
{

namespace
{

/// The folder of the shared object, or of the program, that holds this code. A program is named by its first argument,
/// which need not be a path.
std::filesystem::path findOwnFolder()
{
    static const int here = 0;
    constexpr const char *program = "/proc/self/exe";
    Dl_info info{};
    std::error_code failure;
    const bool isPath = dladdr(&here, &info) != 0 && info.dli_fname != nullptr && std::strchr(info.dli_fname, '/');
    std::filesystem::path object = std::filesystem::canonical(isPath ? info.dli_fname : program, failure);
    if (failure)
        object = std::filesystem::canonical(program, failure);
    return object.parent_path();
}

/// Found once: what loaded this code may have named it from the current folder, which can change.
const std::filesystem::path &ownFolder()
{
    static const std::filesystem::path folder = findOwnFolder();
    return folder;
}

/// Runs while this code is being loaded.
[[gnu::constructor]] void findOwnFolderAtLoad() noexcept
{
    ownFolder();
}

} // namespace

std::filesystem::path findModule(const char *file)
{
    const std::filesystem::path &folder = ownFolder();
    std::error_code ignored;
    for (const char *place : {".", "../lib", "../lib/kxfw", KX_MODULE_FOLDER}) {
        std::filesystem::path path = folder / place / file;
        if (!folder.empty() && std::filesystem::exists(path, ignored))
            return path;
    }
    return {};
}

void *loadModuleEntry(const char *file, const char *entry, std::string &failure)
{
    const std::filesystem::path path = findModule(file);
    if (path.empty()) {
        failure = std::string(file) + " is not installed";
        return nullptr;
    }
    void *module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (void *found = module == nullptr ? nullptr : dlsym(module, entry))
        return found;
    const char *reason = dlerror();
    failure = path.string() + " cannot be loaded: " + (reason == nullptr ? "no entry" : reason);
    return nullptr;
}

} // namespace kx
