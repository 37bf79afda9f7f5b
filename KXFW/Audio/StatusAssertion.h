#pragma once

#include "KXFW/Platform/Foundation/AudioTypes.h"
#include "KXFW/Platform/Foundation/Export.h"

namespace kx
{

/// The name of the exception that a failed status check throws.
inline constexpr const char *kStatusAssertionName = "_ASSERT_NOERR failed exception";

/// A status check as the text of its failure names it.
struct StatusSite {
    const char *function; ///< the full name of the operation
    int line;
};

/// Throws the exception of a failed status check. [any]
[[noreturn]] KX_EXPORT void throwStatusAssertion(OSStatus status, const char *function, int line);

} // namespace kx

/// The check behind every audio service call whose status matters: a status other than 0 throws an NSException named
/// "_ASSERT_NOERR failed exception" with the reason "function:line" and, under "error", the status in the
/// NSCocoaErrorDomain. `function` is the full name of the operation; `line` is where the check stands unless given.
/// [any]
inline void _ASSERT_NOERR(OSStatus status, const char *function, int line = __builtin_LINE())
{
    if (status != noErr)
        kx::throwStatusAssertion(status, function, line);
}

/// The same for a check that a table names. [any]
inline void _ASSERT_NOERR(OSStatus status, const kx::StatusSite &site)
{
    _ASSERT_NOERR(status, site.function, site.line);
}
