#pragma once

#include "KXFW/Audio/KXAFilePlayerBlock.h"
#include "KXFW/Audio/Player/Transport.h"
#include "KXFW/Platform/Foundation/Guarded.h"

#include <atomic>
#include <optional>

namespace kx
{

/// Keeps a player on an output device: the one that was chosen as long as it is there, and the default one where it
/// follows that. While the player exports, changes wait for the end.
class DeviceFollower
{
public:
    DeviceFollower(KXAFilePlayer &player, ControlLock &control, PlayerFields &fields, Transport &transport,
                   UnitChain &chain); ///< Borrows all of them. [any]

    void listen();                     ///< [any]
    void stopListening() noexcept;     ///< No listener is running afterwards. [any] [blocks]
    void choose(AudioObjectID device); ///< Moves there (0: to the default one), stopped. [any] [blocks]
    void defaultHasChanged();          ///< [any] [blocks]
    /// The same where a listener tells it: the player may be behind what it tells already. [any] [blocks]
    void hearOfDefault();
    void exportHasEnded() noexcept; ///< Does what had to wait. Under the control lock. [any] [blocks]

    void setFollowsDefault(bool follows) noexcept { followsDefault_ = follows; }       ///< [any]
    [[nodiscard]] bool followsDefault() const noexcept { return followsDefault_; }     ///< [any]
    void setRebuiltBlock(PlayerBlock<> block) { rebuiltBlock_.set(std::move(block)); } ///< [any]

private:
    void add(AudioObjectPropertySelector property, AudioObjectPropertyListenerProc listener);
    static OSStatus deviceListListener(AudioObjectID object, uint32_t count,
                                       const AudioObjectPropertyAddress *addresses, void *clientData);
    void noteUntoldDefault();
    void moveTo(AudioObjectID device);
    void ask(AudioObjectID device);
    void runRebuiltBlock() noexcept;
    void leaveMissingDevice();
    void followIfWanted();
    void followDefault();
    bool tryDefault();

    KXAFilePlayer &player_;
    ControlLock &control_;
    PlayerFields &fields_;
    Transport &transport_;
    UnitChain &chain_;
    std::atomic<bool> followsDefault_{true};
    Guarded<PlayerBlock<>> rebuiltBlock_;

    // Under the control lock.
    std::optional<AudioObjectID> knownDefault_; ///< of which a notification is no news
    bool defaultChangedMeanwhile_ = false;      ///< during an export
    std::optional<AudioObjectID> chosenMeanwhile_;
};

} // namespace kx
