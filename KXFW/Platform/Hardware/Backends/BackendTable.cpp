#include "KXFW/Platform/Hardware/Backends/BackendTable.h"

#include "KXFW/Platform/Foundation/NSLog.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>

namespace
{

/// In the order of preference; the last one always answers.
constexpr std::array kBackends{kx::BackendEntry{"pulse", kx::makePulseBackend},
                               kx::BackendEntry{"virtual", kx::makeVirtualBackend}};

std::unique_ptr<kx::HardwareBackend> firstThatAnswers()
{
    for (const kx::BackendEntry &entry : kBackends)
        if (auto backend = entry.make(kx::Presence::Required))
            return backend;
    return nullptr;
}

} // namespace

std::unique_ptr<kx::HardwareBackend> kx::makeBackend()
{
    const char *wanted = std::getenv("KXFW_AUDIO_BACKEND");
    if (wanted == nullptr || *wanted == '\0')
        return firstThatAnswers();
    const auto found = std::ranges::find(kBackends, std::string_view(wanted),
                                         [](const auto &entry) { return std::string_view(entry.name); });
    if (found == kBackends.end())
        NSLog("KXFW_AUDIO_BACKEND: there is no backend %@", wanted);
    else if (auto backend = found->make(Presence::Awaited))
        return backend;
    return firstThatAnswers();
}
