#pragma once

#include "KXFW/Audio/Player/DeviceFollower.h"
#include "KXFW/Audio/Player/ExportSession.h"
#include "KXFW/Audio/Player/PlaybackPosition.h"
#include "KXFW/Audio/Player/RenderSource.h"
#include "KXFW/Audio/Player/Transport.h"
#include "KXFW/Audio/Player/UnitChain.h"

namespace kx
{

/// The parts of a player, each of which knows those above it:
///
///     fields <- position <- source (what the render thread runs)
///                        <- chain  <- transport <- follower <- exports
///
/// The player keeps the control lock around what touches units, and hands on the rest.
struct PlayerEngine {
    PlayerEngine(KXAFilePlayer &player, PlayerFields &shared)
        : fields(shared), position(fields), source(fields, position), chain(fields, position, &player),
          transport(fields, position, source, chain), follower(player, control, fields, transport, chain),
          exports(control, fields, position, source, chain, transport, follower)
    {
    }

    PlayerFields &fields;
    ControlLock control; ///< never taken by a render thread
    PlaybackPosition position;
    RenderSource source;
    UnitChain chain;
    Transport transport;
    DeviceFollower follower;
    ExportSession exports;
    Guarded<KXAFilePlayer::PlaybackFailureBlock> failureBlock;
    Guarded<KXAFilePlayer::PlayerBlock> endedBlock;
};

[[nodiscard]] PlayerEngine &engineOf(const KXAFilePlayer &player) noexcept; ///< [any] [render]

} // namespace kx
