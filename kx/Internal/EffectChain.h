/// @file
/// Effects in a row, as the one effect unit that a file player takes.
#pragma once

#include "KXFW/Platform/AudioUnits/AudioUnit.h"
#include "kx/Effect.h"
#include "kx/Error.h"

#include <memory>
#include <vector>

namespace kx
{

class EffectStage;

/// A unit that plays its input through effects, the first one first. Who pulls the unit shares the effects with it:
/// they are free for another chain when this object has gone and the player has let go of the unit. Moves only.
///
///     auto chain = EffectChain::make(effects, chain_);
///     if (!chain)
///         return chain.error();
///     player->setEffect(chain->audioUnit());
///     player->setEffectMode(chain->audioUnit() ? KXAEffectModeAU : KXAEffectModeNone);
///     chain_ = *std::move(chain);
class EffectChain
{
public:
    EffectChain() noexcept; ///< Without effects and without a unit. [any]
    EffectChain(EffectChain &&other) noexcept;
    EffectChain &operator=(EffectChain &&other) noexcept; ///< [any] [blocks]
    ~EffectChain();                                       ///< [any] [blocks]

    /// Prepares those effects that are new. Refused are effects that another chain has, but for `replaced`, which is no
    /// longer rendered when the new unit is; one that is named twice; null; and one whose `prepare` throws. No effects:
    /// no unit. [any] [blocks]
    static Result<EffectChain> make(std::vector<std::shared_ptr<Effect>> effects, const EffectChain &replaced);

    [[nodiscard]] AudioUnit audioUnit() const noexcept { return unit_; } ///< Null without effects. [any]
    [[nodiscard]] const std::vector<std::shared_ptr<Effect>> &effects() const noexcept { return effects_; } ///< [any]

private:
    std::vector<std::shared_ptr<Effect>> effects_;
    std::vector<std::shared_ptr<EffectStage>> stages_; ///< of each effect
    AudioUnit unit_ = nullptr;
};

} // namespace kx
