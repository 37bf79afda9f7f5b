#include "KXFW/Platform/Hardware/Backends/BackendTable.h"

#include "KXFW/Platform/Foundation/NSLog.h"
#include "KXFW/Platform/Hardware/Backends/AwaitingBackend.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>

namespace
{

/// In the order of preference; the last one is always there.
constexpr std::array kBackends
{
#if KX_WITH_PIPEWIRE
    kx::BackendEntry{"pipewire", kx::makePipeWireBackend},
#endif
#if KX_WITH_PULSEAUDIO
    kx::BackendEntry{"pulse", kx::makePulseBackend},
#endif
        kx::BackendEntry{"virtual", kx::makeVirtualBackend},
};

std::unique_ptr<kx::HardwareBackend> firstThatComes()
{
    auto backend = kBackends.back().make();
    for (std::size_t i = kBackends.size() - 1; i-- > 0;)
        if (auto preferred = kBackends[i].make())
            backend = std::make_unique<kx::AwaitingBackend>(std::move(preferred), std::move(backend));
    return backend;
}

} // namespace

std::unique_ptr<kx::HardwareBackend> kx::makeBackend()
{
    const char *wanted = std::getenv("KXFW_AUDIO_BACKEND");
    if (wanted == nullptr || *wanted == '\0')
        return firstThatComes();
    const auto found = std::ranges::find(kBackends, std::string_view(wanted),
                                         [](const auto &entry) { return std::string_view(entry.name); });
    if (found == kBackends.end())
        NSLog("KXFW_AUDIO_BACKEND: there is no backend %@", wanted);
    else if (auto backend = found->make())
        return backend;
    return firstThatComes();
}
