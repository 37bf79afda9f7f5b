#pragma once

#include "KXFW/Platform/Foundation/Export.h"

#include <span>
#include <string>
#include <vector>

/// What there is to know about the current thread.
class KX_EXPORT NSThread
{
public:
    NSThread() = delete;

    /// One line for each call under way on this thread, innermost first, starting with the one that asks: number,
    /// binary, address, demangled name and offset. At most 512 of them. Not from a render callback. [any]
    static std::vector<std::string> callStackSymbols();
};

namespace kx
{

/// The list as text, one entry a line inside parentheses: "(", each indented and quoted with a comma between, ")".
/// [any]
KX_EXPORT std::string description(std::span<const std::string> list);

} // namespace kx
