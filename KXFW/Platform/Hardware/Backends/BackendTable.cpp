#include "KXFW/Platform/Hardware/Backends/BackendTable.h"

#include "KXFW/Platform/Foundation/NSLog.h"
#include "KXFW/Platform/Hardware/Backends/AwaitingBackend.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>
#include <utility>
#include <vector>

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
#if KX_WITH_ALSA
        kx::BackendEntry{"alsa", kx::makeAlsaBackend, kx::makeAlsaCardsBackend},
#endif
        kx::BackendEntry{"virtual", kx::makeVirtualBackend},
};

std::unique_ptr<kx::HardwareBackend> firstThatComes()
{
    std::vector<std::unique_ptr<kx::HardwareBackend>> made;
    for (const kx::BackendEntry &entry : kBackends) {
        if (auto backend = entry.makeUnnamed())
            made.push_back(std::move(backend));
        if (!made.empty() && !made.back()->state().defaultOutput.empty())
            break; // the others are not even loaded
    }
    auto backend = std::move(made.back());
    for (made.pop_back(); !made.empty(); made.pop_back())
        backend = std::make_unique<kx::AwaitingBackend>(std::move(made.back()), std::move(backend));
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
    else
        NSLog("KXFW_AUDIO_BACKEND: %@ cannot be used", wanted);
    return firstThatComes();
}
