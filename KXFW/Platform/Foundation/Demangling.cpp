#include "KXFW/Platform/Foundation/Demangling.h"

#include <cstdlib>
#include <cxxabi.h>
#include <memory>

std::string kx::demangled(const char *name)
{
    int status = 0;
    const std::unique_ptr<char, void (*)(void *)> text(abi::__cxa_demangle(name, nullptr, nullptr, &status), std::free);
    return status == 0 && text ? text.get() : name;
}
