#include "KXFW/Platform/Hardware/Backends/PulseQuirks.h"

#include <cstdlib>
#include <filesystem>
#include <string_view>

std::string kx::pulseDefaultName(const char *name)
{
    const std::string_view text = name == nullptr ? "" : name;
    // PipeWire 0.3.65 gives the placeholder itself while it has no default.
    if (text == "@DEFAULT_SINK@" || text == "@DEFAULT_SOURCE@")
        return {};
    return std::string(text);
}

bool kx::pulseServerIsLikely()
{
    // PulseAudio 16 and PipeWire 0.3.65: a connection is refused where there is no socket, but also by a server that
    // too many clients come to at once.
    if (std::getenv("PULSE_SERVER") != nullptr)
        return true;
    std::error_code ignored;
    if (const char *folder = std::getenv("PULSE_RUNTIME_PATH"))
        return std::filesystem::exists(std::filesystem::path(folder) / "native", ignored);
    const char *folder = std::getenv("XDG_RUNTIME_DIR");
    return folder != nullptr && std::filesystem::exists(std::filesystem::path(folder) / "pulse/native", ignored);
}
