#include "KXFW/Platform/Hardware/Backends/PipeWireLibrary.h"

namespace
{

constexpr const char *kPipeWireLibrary = "libpipewire-0.3.so.0";

bool loadPipeWire(kx::PipeWireLibrary &functions)
{
    kx::FunctionLoader loader(kPipeWireLibrary);
#define KX_TAKE(name) loader.take(functions.name, "pw_" #name);
    KX_PIPEWIRE_FUNCTIONS(KX_TAKE)
#undef KX_TAKE
    if (!loader.succeeded("PipeWire"))
        return false;
    functions.init(nullptr, nullptr);
    return true;
}

} // namespace

kx::PipeWireLibrary &kx::PipeWireLibrary::instance() noexcept
{
    static PipeWireLibrary functions;
    return functions;
}

bool kx::PipeWireLibrary::load()
{
    static const bool isLoaded = loadPipeWire(instance());
    return isLoaded;
}

const kx::PipeWireLibrary &kx::pipeWire() noexcept
{
    return PipeWireLibrary::instance();
}
