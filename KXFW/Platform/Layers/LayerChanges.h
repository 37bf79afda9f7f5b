#pragma once

#include "KXFW/Platform/Foundation/Geometry.h"

namespace kx
{

class LayerHost;

/// Where layers report what has to be painted anew: to their host at once, or at the end of the outermost transaction.
struct LayerChanges {
    static void add(LayerHost *host, const NSRect &area); ///< [main]
    static void forget(LayerHost *host);                  ///< Nothing is reported to this host any more. [main]
};

} // namespace kx
