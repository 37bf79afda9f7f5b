#pragma once

#include "KXFW/Platform/AudioUnits/AudioUnit.h"

#include <memory>

namespace kx
{

/// A player's hold on its effect unit: keeps it from ending, and other players from putting it into their chains, as a
/// unit can be in one only. The same player may claim a unit twice.
class EffectClaim
{
public:
    /// The unit for `player`; null where another one has it, or the handle names no living unit. [any]
    static std::shared_ptr<EffectClaim> on(AudioUnit unit, const void *player);
    EffectClaim(AudioUnit unit, const void *player); ///< For `on`. [any]
    ~EffectClaim();                                  ///< [any] [blocks]
    EffectClaim(const EffectClaim &) = delete;
    EffectClaim &operator=(const EffectClaim &) = delete;

private:
    AudioUnit unit_;
    std::shared_ptr<void> hold_;
    bool isGranted_ = false;
};

} // namespace kx
