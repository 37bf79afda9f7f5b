#include "KXFW/Platform/AudioUnits/LV2Plugins.h"

#include "KXFW/Platform/AudioUnits/LV2Module/LV2Module.h"
#include "KXFW/Platform/Foundation/LoadableModule.h"

#include <mutex>

namespace kx
{

LV2Plugins *installedLV2Plugins(std::string &reason)
{
    static std::mutex mutex;
    static LV2Plugins *plugins = nullptr;
    const std::lock_guard lock(mutex);
    if (plugins)
        return plugins;
    void *const entry = loadModuleEntry(kLV2ModuleFile, kLV2ModuleEntry, reason);
    if (!entry)
        return nullptr;
    plugins = reinterpret_cast<LV2ModuleEntry>(entry)(kLV2ModuleVersion);
    if (!plugins)
        reason = std::string(kLV2ModuleFile) + " is of another version";
    return plugins;
}

} // namespace kx
