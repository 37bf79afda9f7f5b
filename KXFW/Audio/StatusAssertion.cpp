#include "KXFW/Audio/StatusAssertion.h"

#include "KXFW/Platform/Foundation/NSException.h"

#include <string>

void kx::throwStatusAssertion(OSStatus status, const char *function, int line)
{
    throw NSException(kStatusAssertionName, std::string(function) + ":" + std::to_string(line),
                      {{"error", NSError{NSCocoaErrorDomain, status}}});
}
