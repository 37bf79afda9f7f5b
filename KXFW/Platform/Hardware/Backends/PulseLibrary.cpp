#include "KXFW/Platform/Hardware/Backends/PulseLibrary.h"

#include "KXFW/Platform/Foundation/NSLog.h"

#include <dlfcn.h>

namespace
{

/// Its version is that of the interface; since 2007 functions were only added.
constexpr const char *kLibrary = "libpulse.so.0";

bool loadFunctions(kx::PulseLibrary &functions)
{
    void *const library = dlopen(kLibrary, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    bool isWhole = library != nullptr;
    const auto take = [&]<class Pointer>(kx::LoadedFunction<Pointer> &function, const char *name) {
        if (isWhole)
            function.pointer = reinterpret_cast<Pointer>(dlsym(library, name));
        isWhole = isWhole && function.pointer != nullptr;
    };
#define KX_TAKE(name) take(functions.name, "pa_" #name);
    KX_PULSE_FUNCTIONS(KX_TAKE)
#undef KX_TAKE
    if (!isWhole)
        NSLog("PulseAudio cannot be used: %@", dlerror());
    return isWhole;
}

} // namespace

kx::PulseLibrary &kx::PulseLibrary::instance() noexcept
{
    static PulseLibrary functions;
    return functions;
}

bool kx::PulseLibrary::load()
{
    static const bool isLoaded = loadFunctions(instance());
    return isLoaded;
}

const kx::PulseLibrary &kx::pulse() noexcept
{
    return PulseLibrary::instance();
}
