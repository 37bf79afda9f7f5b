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

    /// Counts a holder; false when the handle names no living unit. [any]
    static bool hold(AudioUnit handle);
    /// Counts one holder less. Where a released unit has none any more, its handle ends and the unit is given. [any]
    static std::shared_ptr<Unit> letGo(AudioUnit handle);
    /// From now on the unit lives for its holders only; without any, its handle ends and the unit is given. [any]
    static std::shared_ptr<Unit> release(AudioUnit handle);
};

} // namespace kx
