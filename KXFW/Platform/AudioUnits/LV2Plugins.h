/// @file
/// LV2 plugins as stages, by the module that knows them.
#pragma once

#include "KXFW/Platform/AudioUnits/RenderStage.h"

#include <memory>
#include <string>
#include <vector>

namespace kx
{

/// A number of a plugin that may be set.
struct LV2Control {
    std::string symbol; ///< names it for programs
    std::string name;   ///< for people
    float minimum;
    float maximum;
    float initial;
};

/// A plugin at work; for mono plugins one for each channel, with the same controls.
class LV2Stage : public RenderStage
{
public:
    [[nodiscard]] virtual const std::vector<LV2Control> &controls() const noexcept = 0; ///< [any]
    /// Of the control with this number. A change takes effect with the next block. [any] [render]
    virtual void set(std::size_t control, float value) noexcept = 0;
    [[nodiscard]] virtual float get(std::size_t control) const noexcept = 0; ///< [any] [render]

    /// Makes ready to process, and learns the latency. [any] [blocks]
    virtual void prepare() = 0;
};

/// What stands in the way of a stage.
enum class LV2Obstacle { None, Unknown, Unsuitable, Failed };

/// What is installed.
class LV2Plugins
{
public:
    struct Plugin {
        std::string uri;
        std::string name; ///< for people
    };

    virtual ~LV2Plugins() = default;
    /// Those of which stages can be made, by name. [any] [blocks]
    virtual std::vector<Plugin> list() = 0;
    /// Null where it cannot be made; `obstacle` and `reason` tell why. [any] [blocks]
    virtual std::unique_ptr<LV2Stage> make(const std::string &uri, LV2Obstacle &obstacle, std::string &reason) = 0;
};

/// Loads the module at the first call, which then looks for the plugins. Null where that is not installed or does not
/// fit; `reason` tells which. [any] [blocks]
LV2Plugins *installedLV2Plugins(std::string &reason);

} // namespace kx
