#pragma once

#include "KXFW/Platform/AudioUnits/AudioUnit.h"

#include <memory>

namespace kx
{

class Unit;

/// Handles and the units they stand for. A handle is a number that is never given twice, so one that is stale finds
/// nothing.
class UnitRegistry
{
public:
    static AudioUnit add(std::shared_ptr<Unit> unit); ///< [any]
    /// Null when the handle names no living unit. [any] [render]
    static std::shared_ptr<Unit> find(AudioUnit handle);
    /// Ends the handle and gives what it stood for. [any] [render]
    static std::shared_ptr<Unit> remove(AudioUnit handle);
};

} // namespace kx
