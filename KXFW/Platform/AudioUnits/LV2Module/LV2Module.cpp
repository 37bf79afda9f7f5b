#include "KXFW/Platform/AudioUnits/LV2Module/LV2Module.h"

#include "KXFW/Platform/AudioUnits/LV2Module/LV2Features.h"
#include "KXFW/Platform/AudioUnits/LV2Module/LV2Ports.h"
#include "KXFW/Platform/AudioUnits/LV2Module/PluginStage.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <algorithm>
#include <mutex>
#include <new>

namespace kx
{

namespace
{

class InstalledPlugins final : public LV2Plugins
{
public:
    InstalledPlugins() : world_(lilv_world_new())
    {
        if (!world_)
            throw std::bad_alloc();
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
        const LilvNodePtr node(lilv_new_uri(world_.get(), uri.c_str())); // null for what is none
        const LilvPlugins *const all = lilv_world_get_all_plugins(world_.get());
        const LilvPlugin *const plugin = node ? lilv_plugins_get_by_uri(all, node.get()) : nullptr;
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
