#pragma once

#include "KXFW/Platform/Foundation/Export.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

/// What there is to know about the current thread.
class KX_EXPORT NSThread
{
public:
    NSThread() = delete;

    /// One line for each of the innermost `most` calls under way on this thread, starting with the one that asks:
    /// number, binary, address, demangled name and offset. Never more than 262,144 of them. Not from a render
    /// callback. [any]
    static std::vector<std::string> callStackSymbols(uint64_t most = UINT64_MAX);
};

namespace kx
{

/// The list as text, one entry a line inside parentheses: "(", each indented and quoted with a comma between, ")".
/// [any]
KX_EXPORT std::string description(std::span<const std::string> list);

} // namespace kx
