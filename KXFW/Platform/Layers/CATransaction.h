#pragma once

#include "KXFW/Platform/Foundation/Export.h"

/// Changes of layers that belong together: between `begin` and the `commit` that ends it they are collected, and those
/// who show the layers hear of them once, at the end of the outermost transaction. Layers do not animate, so the two
/// settings are kept and read back, and change nothing. Main thread only.
class KX_EXPORT CATransaction
{
public:
    // All [main].

    static void begin();
    /// Ends the innermost transaction; without one it does nothing.
    static void commit();

    /// Settings of the innermost transaction, which starts with those around it; at first NO and 0.25 seconds. Without
    /// a transaction a setter does nothing.
    static void setDisableActions(bool disable);
    [[nodiscard]] static bool disableActions();
    static void setAnimationDuration(double seconds);
    [[nodiscard]] static double animationDuration();
};

namespace kx
{

/// A transaction without implicit animations that ends with the scope, an exception included. [main]
class KX_EXPORT LayerTransaction
{
public:
    LayerTransaction();                              ///< [main]
    ~LayerTransaction() { CATransaction::commit(); } ///< [main]
    LayerTransaction(const LayerTransaction &) = delete;
    LayerTransaction &operator=(const LayerTransaction &) = delete;
};

} // namespace kx
