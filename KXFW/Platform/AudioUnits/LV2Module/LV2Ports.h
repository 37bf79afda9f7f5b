#pragma once

#include "KXFW/Platform/AudioUnits/LV2Module/LV2Features.h"
#include "KXFW/Platform/AudioUnits/LV2Module/LilvObjects.h"
#include "KXFW/Platform/AudioUnits/LV2Plugins.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kx
{

/// The ports of a plugin, by what they are for. The numbers are the plugin's.
struct LV2Ports {
    std::vector<uint32_t> audioIn;
    std::vector<uint32_t> audioOut;
    std::vector<uint32_t> controlIn; ///< with `controls` in this order
    std::vector<LV2Control> controls;
    std::vector<uint32_t> controlOut;
    std::vector<uint32_t> unconnected; ///< that may stay so
    std::optional<uint32_t> latency;   ///< one of `controlOut`

    /// False where the plugin cannot serve as a stage of stereo sound; `reason` tells why. [any]
    bool read(LilvWorld *world, const LilvPlugin *plugin, const LV2Features &features, std::string &reason);

private:
    bool readPort(LilvWorld *world, const LilvPlugin *plugin, uint32_t number);
};

} // namespace kx
