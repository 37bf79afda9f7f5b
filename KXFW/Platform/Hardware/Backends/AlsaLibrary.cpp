#include "KXFW/Platform/Hardware/Backends/AlsaLibrary.h"

namespace
{

constexpr const char *kAlsaLibrary = "libasound.so.2";

bool loadAlsa(kx::AlsaLibrary &functions)
{
    kx::FunctionLoader loader(kAlsaLibrary);
#define KX_TAKE(name) loader.take(functions.name, "snd_" #name);
    KX_ALSA_FUNCTIONS(KX_TAKE)
#undef KX_TAKE
    return loader.succeeded("ALSA");
}

} // namespace

kx::AlsaLibrary &kx::AlsaLibrary::instance() noexcept
{
    static AlsaLibrary functions;
    return functions;
}

bool kx::AlsaLibrary::load()
{
    static const bool isLoaded = loadAlsa(instance());
    return isLoaded;
}

const kx::AlsaLibrary &kx::alsa() noexcept
{
    return AlsaLibrary::instance();
}
