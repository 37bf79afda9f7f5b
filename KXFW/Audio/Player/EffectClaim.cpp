#include "KXFW/Audio/Player/EffectClaim.h"

#include <map>
#include <mutex>

namespace kx
{

namespace
{

struct EffectOwner {
    const void *player;
    int claims;
};

struct EffectOwners {
    std::mutex lock;
    std::map<AudioUnit, EffectOwner> byUnit;

    static EffectOwners &shared()
    {
        static auto *const owners = new EffectOwners; // for players that outlive the statics
        return *owners;
    }
};

} // namespace

std::shared_ptr<EffectClaim> EffectClaim::on(AudioUnit unit, const void *player)
{
    auto claim = std::make_shared<EffectClaim>(unit, player);
    return claim->hold_ && claim->isGranted_ ? claim : nullptr;
}

EffectClaim::EffectClaim(AudioUnit unit, const void *player) : unit_(unit), hold_(AudioUnitHold(unit))
{
    EffectOwners &owners = EffectOwners::shared();
    const std::lock_guard guard(owners.lock);
    EffectOwner &owner = owners.byUnit.try_emplace(unit, EffectOwner{player, 0}).first->second;
    isGranted_ = owner.player == player;
    owner.claims += isGranted_ ? 1 : 0;
}

EffectClaim::~EffectClaim()
{
    EffectOwners &owners = EffectOwners::shared();
    const std::lock_guard guard(owners.lock);
    if (isGranted_ && --owners.byUnit.at(unit_).claims == 0)
        owners.byUnit.erase(unit_);
}

} // namespace kx
