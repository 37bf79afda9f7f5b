#pragma once

#include "KXFW/Platform/Hardware/HardwareBackend.h"

#include <map>
#include <pulse/pulseaudio.h>
#include <string>

namespace kx
{

/// The format of a stream to a sink: the sink's own, so that the server converts nothing, as far as we can make it.
struct PulseFormat {
    pa_sample_spec spec;
    pa_channel_map map;
    AudioStreamBasicDescription description; ///< the same for the rest of the platform
};

/// 32-bit float where the sample format is none of ours.
[[nodiscard]] PulseFormat playableFormat(const pa_sample_spec &spec, const pa_channel_map &map);

/// The server's devices as it described them.
struct PulseDevices {
    HardwareState state;
    std::map<std::string, PulseFormat> sinkFormats; ///< by uid

    /// Devices whose name is taken already, or beyond the limit of what a machine can have, are left out.
    void add(const pa_sink_info &sink);
    /// Monitors are no devices.
    void add(const pa_source_info &source);
};

} // namespace kx
