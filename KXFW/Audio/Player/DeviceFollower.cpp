#include "KXFW/Audio/Player/DeviceFollower.h"

#include "KXFW/Audio/CaughtException.h"
#include "KXFW/Audio/KXAFilePlayerCallbacks.h"
#include "KXFW/Audio/KXAHardwareManager.h"
#include "KXFW/Audio/Player/PlayerEngine.h"
#include "KXFW/Audio/StatusAssertion.h"
#include "KXFW/Platform/Foundation/NSLog.h"

#include <utility>

namespace
{

/// Runs `task` on the follower of the player that a listener's client data names, unless it is going away; nothing is
/// thrown on.
template <class Task> void withLivePlayer(void *clientData, Task &&task)
{
    const auto player = static_cast<KXAFilePlayer *>(clientData)->weak_from_this().lock();
    if (!player)
        return;
    try {
        task(kx::engineOf(*player).follower);
    } catch (...) {
        NSLog("device change failed: %@", kx::exceptionOf(std::current_exception(), "exception").what());
    }
}

} // namespace

OSStatus KXAFilePlayerHardwarePropertyListenerProc(AudioObjectID /*object*/, uint32_t addressCount,
                                                   const AudioObjectPropertyAddress *addresses, void *clientData)
{
    if (addressCount > 0 && addresses[0].mSelector == kAudioHardwarePropertyDefaultOutputDevice)
        withLivePlayer(clientData, [](kx::DeviceFollower &follower) { follower.hearOfDefault(); });
    return noErr;
}

namespace kx
{

namespace
{

constexpr int kAttemptsToFollow = 3; ///< a default device may vanish while the chain is built on it

/// Whether listeners are still to hear of a change that questions are answered by already.
bool changesAreUntold()
{
    const auto address = KXAHardwareManager::prv_propertyAddressWithPropertyID(kAudioHardwarePropertyChangesAreUntold);
    uint32_t untold = 0;
    uint32_t size = sizeof untold;
    return AudioObjectGetPropertyData(kAudioObjectSystemObject, &address, 0, nullptr, &size, &untold) == noErr &&
           untold != 0;
}

AudioObjectID orDefault(AudioObjectID device)
{
    return device == kAudioObjectUnknown ? KXAHardwareManager::defaultOutputDeviceID() : device;
}

/// Whether `change` went through; why not is logged, as far as there is memory for it.
template <class Change> bool attemptMove(Change change) noexcept
{
    try {
        try {
            change();
            return true;
        } catch (...) {
            NSLog("device change failed: %@", currentExceptionText());
        }
    } catch (...) {
        // Not even that.
    }
    return false;
}

} // namespace

DeviceFollower::DeviceFollower(KXAFilePlayer &player, ControlLock &control, PlayerFields &fields, Transport &transport,
                               UnitChain &chain)
    : player_(player), control_(control), fields_(fields), transport_(transport), chain_(chain)
{
}

void DeviceFollower::listen()
{
    add(kAudioHardwarePropertyDefaultOutputDevice, KXAFilePlayerHardwarePropertyListenerProc);
    add(kAudioHardwarePropertyDevices, deviceListListener);
}

void DeviceFollower::add(AudioObjectPropertySelector property, AudioObjectPropertyListenerProc listener)
{
    const auto address = KXAHardwareManager::prv_propertyAddressWithPropertyID(property);
    _ASSERT_NOERR(AudioObjectAddPropertyListener(kAudioObjectSystemObject, &address, listener, &player_),
                  "-[KXAFilePlayer _setUpHardwareListenerProc]");
}

void DeviceFollower::stopListening() noexcept
{
    for (const auto &[property, listener] :
         {std::pair(kAudioHardwarePropertyDefaultOutputDevice, &KXAFilePlayerHardwarePropertyListenerProc),
          std::pair(kAudioHardwarePropertyDevices, &DeviceFollower::deviceListListener)}) {
        const auto address = KXAHardwareManager::prv_propertyAddressWithPropertyID(property);
        AudioObjectRemovePropertyListener(kAudioObjectSystemObject, &address, listener, &player_);
    }
}

OSStatus DeviceFollower::deviceListListener(AudioObjectID /*object*/, uint32_t /*count*/,
                                            const AudioObjectPropertyAddress * /*addresses*/, void *clientData)
{
    withLivePlayer(clientData, [](DeviceFollower &follower) { follower.leaveMissingDevice(); });
    return noErr;
}

void DeviceFollower::choose(AudioObjectID device)
{
    const ControlGuard guard(control_);
    if (fields_.isExporting) {
        ask(orDefault(device));
        chosenMeanwhile_ = device;
        defaultChangedMeanwhile_ = false;
        noteUntoldDefault();
        return;
    }
    moveTo(device);
    noteUntoldDefault();
    runRebuiltBlock();
}

/// Changes that listeners are still to hear of were there before the choice, which holds.
void DeviceFollower::noteUntoldDefault()
{
    if (changesAreUntold())
        knownDefault_ = KXAHardwareManager::defaultOutputDeviceID();
}

void DeviceFollower::moveTo(AudioObjectID device)
{
    knownDefault_.reset();
    transport_.cutForMove();
    const AudioObjectID wanted = orDefault(device);
    ask(wanted);
    fields_.device = wanted;
    chain_.buildOutput();
    transport_.rebuild([&] { chain_.buildStoredMode(); });
}

/// A device that the output unit does not take is told, and changes nothing.
void DeviceFollower::ask(AudioObjectID device)
{
    const AudioUnit unit = fields_.outputUnit;
    if (!unit)
        return;
    const OSStatus status = AudioUnitSetProperty(unit, kAudioOutputUnitProperty_CurrentDevice, kAudioUnitScope_Global,
                                                 0, &device, sizeof device);
    if (status != noErr)
        NSLog("output device %u refused: %@", device, statusText(status));
    _ASSERT_NOERR(status, "-[KXAFilePlayer setOutputDeviceID:]");
}

void DeviceFollower::runRebuiltBlock() noexcept
{
    try {
        if (const PlayerBlock<> block = rebuiltBlock_.get())
            block(player_);
    } catch (...) {
        NSLog("output rebuilt: %@", exceptionOf(std::current_exception(), "block failed").what());
    }
}

void DeviceFollower::defaultHasChanged()
{
    const ControlGuard guard(control_);
    followIfWanted();
}

/// The loss of the old device may have brought the player there already, or another was chosen since.
void DeviceFollower::hearOfDefault()
{
    const ControlGuard guard(control_);
    if (std::exchange(knownDefault_, std::nullopt) != KXAHardwareManager::defaultOutputDeviceID())
        followIfWanted();
}

void DeviceFollower::followIfWanted()
{
    if (followsDefault_ || !KXAHardwareManager::deviceIDIsAlive(fields_.device))
        followDefault();
}

/// A device that has gone is left for the default one.
void DeviceFollower::leaveMissingDevice()
{
    const ControlGuard guard(control_);
    const AudioObjectID device = chosenMeanwhile_.value_or(fields_.device);
    if (device == kAudioObjectUnknown || KXAHardwareManager::deviceIDIsAlive(device))
        return;
    followDefault();
    knownDefault_ = fields_.device;
}

/// Rebuilds on the default device and goes on playing there from the frame that was heard.
void DeviceFollower::followDefault()
{
    if (fields_.isExporting) {
        defaultChangedMeanwhile_ = true;
        chosenMeanwhile_.reset();
        return;
    }
    fields_.isMoving = fields_.isPlaying.load();
    try {
        const bool wasPlaying = transport_.cutForMove();
        for (int attempt = 0; attempt < kAttemptsToFollow && !tryDefault(); ++attempt) {
        }
        runRebuiltBlock();
        if (wasPlaying && fields_.isMoving) // else the block has stopped it
            transport_.play();
    } catch (...) {
        fields_.isMoving = false;
        throw;
    }
    fields_.isMoving = false;
}

bool DeviceFollower::tryDefault()
{
    try {
        moveTo(KXAHardwareManager::defaultOutputDeviceID());
        chain_.buildOutput();
        chain_.buildAny();
        return true;
    } catch (const std::exception &exception) {
        NSLog("exception:%@", exception.what());
        return false;
    }
}

void DeviceFollower::exportHasEnded() noexcept
{
    const auto chosen = std::exchange(chosenMeanwhile_, std::nullopt);
    const bool defaultChanged = std::exchange(defaultChangedMeanwhile_, false);
    if (attemptMove([&] {
            if (chosen)
                choose(*chosen);
            else if (defaultChanged)
                followIfWanted();
        }))
        return;
    attemptMove([&] { followDefault(); }); // the chosen device has gone meanwhile
}

} // namespace kx
