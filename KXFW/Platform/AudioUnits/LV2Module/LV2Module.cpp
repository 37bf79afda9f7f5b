#include "KXFW/Platform/AudioUnits/LV2Module/LV2Module.h"

#include "KXFW/Platform/AudioUnits/LV2Module/LV2Features.h"
#include "KXFW/Platform/AudioUnits/LV2Module/LV2Ports.h"
#include "KXFW/Platform/AudioUnits/LV2Module/PluginStage.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <new>
#include <sstream>

namespace kx
{

namespace
{

/// LV2_PATH with absolute folders: the library takes no others. Empty where it is not set.
std::string absoluteSearchPath()
{
    const char *const set = std::getenv("LV2_PATH"); // NOLINT(concurrency-mt-unsafe): at the first call alone
    std::istringstream folders(set ? set : "");
    std::string path;
    for (std::string folder; std::getline(folders, folder, ':');)
        if (!folder.empty())
            path += (folder[0] == '~' ? folder : std::filesystem::absolute(folder).string()) + ':';
    return path;
}

class InstalledPlugins final : public LV2Plugins
{
public:
    InstalledPlugins() : world_(lilv_world_new())
    {
        if (!world_)
            throw std::bad_alloc();
        if (const std::string path = absoluteSearchPath(); !path.empty())
            lilv_world_set_option(world_.get(), LILV_OPTION_LV2_PATH,
                                  LilvNodePtr(lilv_new_string(world_.get(), path.c_str())).get());
        lilv_world_load_all(world_.get());
    }

    std::vector<Plugin> list() override
    {
        const std::lock_guard guard(lock_);
        std::vector<Plugin> suitable;
        const LilvPlugins *const all = lilv_world_get_all_plugins(world_.get());
        LILV_FOREACH(plugins, i, all)
        {
            const LilvPlugin *const plugin = lilv_plugins_get(all, i);
            const LilvNodePtr name(lilv_plugin_get_name(plugin));
            std::string ignored;
            if (LV2Ports().read(world_.get(), plugin, features_, ignored))
                suitable.push_back({textOf(lilv_plugin_get_uri(plugin)), textOf(name.get())});
        }
        std::ranges::sort(suitable, {}, &Plugin::name);
        return suitable;
    }

    std::unique_ptr<LV2Stage> make(const std::string &uri, LV2Obstacle &obstacle, std::string &reason) override
    {
        const std::lock_guard guard(lock_);
        const LilvPlugin *const plugin = find(uri);
        obstacle = LV2Obstacle::Unknown;
        if (!plugin)
            return nullptr;
        LV2Ports ports;
        obstacle = LV2Obstacle::Unsuitable;
        if (!ports.read(world_.get(), plugin, features_, reason))
            return nullptr;
        obstacle = LV2Obstacle::Failed;
        std::vector<PluginInstance> instances;
        for (std::size_t channels = 0; channels < RenderStage::kChannels; channels += ports.audioIn.size()) {
            LilvInstancePtr instance(lilv_plugin_instantiate(plugin, kCanonicalSampleRate, features_.list()));
            if (!instance)
                return nullptr;
            instances.emplace_back(std::move(instance), ports);
        }
        obstacle = LV2Obstacle::None;
        return std::make_unique<PluginStage>(std::move(instances), std::move(ports.controls));
    }

private:
    [[nodiscard]] const LilvPlugin *find(const std::string &uri) const
    {
        const LilvPlugins *const all = lilv_world_get_all_plugins(world_.get());
        LILV_FOREACH(plugins, i, all)
        if (textOf(lilv_plugin_get_uri(lilv_plugins_get(all, i))) == uri)
            return lilv_plugins_get(all, i);
        return nullptr;
    }

    std::mutex lock_; ///< the library's objects are for one thread at a time
    LilvWorldPtr world_;
    LV2Features features_;
};

} // namespace

} // namespace kx

kx::LV2Plugins *kxfwLV2Plugins(uint32_t version)
{
    if (version != kx::kLV2ModuleVersion)
        return nullptr;
    try {
        static auto *const plugins = new kx::InstalledPlugins; // never destroyed: instances may outlive the statics
        return plugins;
    } catch (...) {
        return nullptr;
    }
}
