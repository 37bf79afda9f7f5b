#pragma once

#include "KXFW/Platform/Foundation/NSLog.h"

#include <cstdlib>
#include <dlfcn.h>

namespace kx
{

/// A function of a library that may not be there; to call it then ends the program.
template <class Pointer> struct LoadedFunction;

template <class Result, class... Arguments> struct LoadedFunction<Result (*)(Arguments...)> {
    Result (*pointer)(Arguments...) = nullptr;

    Result operator()(Arguments... arguments) const
    {
        if (pointer == nullptr)
            std::abort();
        return pointer(arguments...);
    }
};

/// Takes functions out of a library, which then stays until the process ends.
class FunctionLoader
{
public:
    explicit FunctionLoader(const char *library) : library_(dlopen(library, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE)) {}

    template <class Pointer> void take(LoadedFunction<Pointer> &function, const char *name) noexcept
    {
        if (library_ != nullptr)
            function.pointer = reinterpret_cast<Pointer>(dlsym(library_, name));
        isWhole_ = isWhole_ && function.pointer != nullptr;
    }

    /// Whether the library was there with all that was taken. That it is not there is nothing to tell of; where it
    /// lacks something, the log says that `system` cannot be used.
    [[nodiscard]] bool succeeded(const char *system) const
    {
        if (library_ != nullptr && !isWhole_)
            NSLog("%@ cannot be used: %@", system, dlerror());
        return isWhole_;
    }

private:
    void *library_;
    bool isWhole_ = library_ != nullptr;
};

} // namespace kx
