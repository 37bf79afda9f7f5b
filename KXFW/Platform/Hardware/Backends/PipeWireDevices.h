#pragma once

#include "KXFW/Platform/Hardware/HardwareBackend.h"

#include <map>
#include <optional>
#include <spa/param/audio/raw.h>
#include <spa/pod/pod.h>
#include <string>

namespace kx
{

/// The format of a stream to a sink: 32-bit float, which is what the server works in, at the sink's own rate and with
/// its own channels, so that the server converts nothing.
struct PipeWireFormat {
    spa_audio_info_raw raw;
    AudioStreamBasicDescription description; ///< the same for the rest of the platform
};

/// Of what a node says that it can do; none where that is no sound.
[[nodiscard]] std::optional<PipeWireFormat> playableFormat(const spa_pod *nodeFormat);

/// A node of the server's graph, as far as it has described itself.
struct PipeWireNode {
    std::string mediaClass;
    std::string name; ///< the device's uid
    std::string description;
    std::optional<PipeWireFormat> format;
};

/// The server's devices as it described them.
struct PipeWireDevices {
    HardwareState state;
    std::map<std::string, PipeWireFormat> sinkFormats; ///< by uid

    /// Nodes that are no devices, whose name is taken already, or beyond the limit of what a machine can have, are left
    /// out.
    void add(const PipeWireNode &node);
};

/// The name in a metadata value such as `{ "name": "sink" }`; empty where there is none.
[[nodiscard]] std::string pipeWireDefaultName(const char *value);

} // namespace kx
