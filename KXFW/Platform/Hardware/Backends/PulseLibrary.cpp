#include "KXFW/Platform/Hardware/Backends/PulseLibrary.h"

namespace
{

/// Its version is that of the interface; since 2007 functions were only added.
constexpr const char *kPulseLibrary = "libpulse.so.0";

bool loadPulse(kx::PulseLibrary &functions)
{
    kx::FunctionLoader loader(kPulseLibrary);
#define KX_TAKE(name) loader.take(functions.name, "pa_" #name);
    KX_PULSE_FUNCTIONS(KX_TAKE)
#undef KX_TAKE
    return loader.succeeded("PulseAudio");
}

} // namespace

kx::PulseLibrary &kx::PulseLibrary::instance() noexcept
{
    static PulseLibrary functions;
    return functions;
}

bool kx::PulseLibrary::load()
{
    static const bool isLoaded = loadPulse(instance());
    return isLoaded;
}

const kx::PulseLibrary &kx::pulse() noexcept
{
    return PulseLibrary::instance();
}
