#pragma once

#include "KXFW/Platform/Foundation/Export.h"

extern "C" {

/// The version of the library as a number: 1.0.
KX_EXPORT extern const double KXFWVersionNumber;

/// "@(#)PROGRAM:KXFW  PROJECT:KXFW-1" and a line break, as tools that search binaries for versions expect it.
KX_EXPORT extern const char KXFWVersionString[];
}
