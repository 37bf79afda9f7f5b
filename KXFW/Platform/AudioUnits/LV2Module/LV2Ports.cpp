#include "KXFW/Platform/AudioUnits/LV2Module/LV2Ports.h"

#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace kx
{

namespace
{

/// A port, and the questions to it.
class PortView
{
public:
    PortView(LilvWorld *world, const LilvPlugin *plugin, uint32_t number)
        : world_(world), plugin_(plugin), port_(lilv_plugin_get_port_by_index(plugin, number))
    {
    }

    [[nodiscard]] bool isA(const char *uri) const { return lilv_port_is_a(plugin_, port_, node(uri).get()); }
    [[nodiscard]] bool has(const char *uri) const { return lilv_port_has_property(plugin_, port_, node(uri).get()); }

    [[nodiscard]] LV2Control control() const
    {
        const LilvNodePtr name(lilv_port_get_name(plugin_, port_));
        LilvNode *nodes[3] = {};
        lilv_port_get_range(plugin_, port_, &nodes[0], &nodes[1], &nodes[2]);
        const LilvNodePtr initial(nodes[0]);
        const LilvNodePtr minimum(nodes[1]);
        const LilvNodePtr maximum(nodes[2]);
        const float unit = has(LV2_CORE__sampleRate) ? static_cast<float>(kCanonicalSampleRate) : 1;
        LV2Control control{.symbol = textOf(lilv_port_get_symbol(plugin_, port_)),
                           .name = textOf(name.get()),
                           .minimum = unit * numberOf(minimum, std::numeric_limits<float>::lowest() / unit),
                           .maximum = unit * numberOf(maximum, std::numeric_limits<float>::max() / unit),
                           .initial = 0};
        control.maximum = std::max(control.minimum, control.maximum);
        control.initial = std::clamp(unit * numberOf(initial, 0), control.minimum, control.maximum);
        return control;
    }

private:
    [[nodiscard]] LilvNodePtr node(const char *uri) const { return LilvNodePtr(lilv_new_uri(world_, uri)); }

    static float numberOf(const LilvNodePtr &node, float otherwise)
    {
        const bool isNumber = node && (lilv_node_is_float(node.get()) || lilv_node_is_int(node.get()));
        const float number = isNumber ? lilv_node_as_float(node.get()) : otherwise;
        return std::isfinite(number) ? number : otherwise;
    }

    LilvWorld *world_;
    const LilvPlugin *plugin_;
    const LilvPort *port_;
};

/// The first feature that the plugin needs and this host does not offer; empty for none.
std::string missingFeature(const LilvPlugin *plugin, const LV2Features &features)
{
    const LilvNodesPtr needed(lilv_plugin_get_required_features(plugin));
    LILV_FOREACH(nodes, i, needed.get())
    if (std::string uri = textOf(lilv_nodes_get(needed.get(), i)); !features.offers(uri))
        return uri;
    return {};
}

} // namespace

bool LV2Ports::read(LilvWorld *world, const LilvPlugin *plugin, const LV2Features &features, std::string &reason)
{
    if (!lilv_plugin_verify(plugin)) {
        reason = "its description is not valid";
        return false;
    }
    if (const std::string missing = missingFeature(plugin, features); !missing.empty()) {
        reason = "it needs " + missing;
        return false;
    }
    for (uint32_t number = 0; number < lilv_plugin_get_num_ports(plugin); ++number)
        if (!readPort(world, plugin, number)) {
            const LilvPort *const port = lilv_plugin_get_port_by_index(plugin, number);
            reason = "it needs its port " + textOf(lilv_port_get_symbol(plugin, port)) + " connected";
            return false;
        }
    if (audioIn.size() != audioOut.size() || audioIn.empty() || audioIn.size() > RenderStage::kChannels) {
        reason = "it has " + std::to_string(audioIn.size()) + " audio inputs and " + std::to_string(audioOut.size()) +
                 " outputs, and not one or two of each";
        return false;
    }
    if (lilv_plugin_has_latency(plugin))
        latency = lilv_plugin_get_latency_port_index(plugin);
    return true;
}

/// False for a port that must be connected to what this host does not have.
bool LV2Ports::readPort(LilvWorld *world, const LilvPlugin *plugin, uint32_t number)
{
    const PortView port(world, plugin, number);
    const bool isInput = port.isA(LV2_CORE__InputPort);
    if (port.isA(LV2_CORE__AudioPort)) {
        (isInput ? audioIn : audioOut).push_back(number);
    } else if (!port.isA(LV2_CORE__ControlPort)) {
        unconnected.push_back(number);
        return port.has(LV2_CORE__connectionOptional);
    } else if (isInput) {
        controlIn.push_back(number);
        controls.push_back(port.control());
    } else {
        controlOut.push_back(number);
    }
    return true;
}

} // namespace kx
