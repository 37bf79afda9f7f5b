#pragma once

#include "KXFW/Audio/Player/PlaybackPosition.h"
#include "KXFW/Audio/Player/RenderSource.h"
#include "KXFW/Audio/Player/UnitChain.h"

#include <mutex>
#include <utility>

namespace kx
{

/// Serialises what touches a player's units. A thread may take it again: blocks that run under it use the player.
using ControlLock = std::recursive_mutex;
using ControlGuard = std::lock_guard<ControlLock>;

/// Starts and stops a player's output unit, from the frame at which it stands, and cuts it for a rebuild without losing
/// what was not heard. Everything is under the control lock, for any thread but a render thread.
class Transport
{
public:
    Transport(PlayerFields &fields, PlaybackPosition &position, RenderSource &source, UnitChain &chain); ///< [any]

    bool play();                ///< False where it is refused. [any] [blocks]
    bool stopIfPlaying();       ///< True when it was playing; no callback is running afterwards. [any] [blocks]
    bool cutForMove();          ///< The same, and what was not heard will be played again. [any] [blocks]
    void endPlaying() noexcept; ///< Where playback cannot go on. [any] [blocks]

    /// Builds while the output unit is stopped, and starts it again where it was heard, unless the run ended meanwhile.
    /// What `build` throws stops playback. [any] [blocks]
    template <class Build> void rebuild(Build &&build)
    {
        cutForRebuild();
        try {
            std::forward<Build>(build)();
            if (fields_.isPlaying)
                beginRun();
        } catch (...) {
            endPlaying();
            throw;
        }
        if (fields_.isPlaying)
            chain_.setOutputIsWhole(startOutput() == noErr);
    }

    /// Whether an end that is to be told was heard; then it is not to be told any more. [any]
    bool takeHeardEnd();

private:
    void cutForRebuild();
    void readAhead();
    void beginRun();
    OSStatus startOutput();
    void settle();

    PlayerFields &fields_;
    PlaybackPosition &position_;
    RenderSource &source_;
    UnitChain &chain_;
};

} // namespace kx
