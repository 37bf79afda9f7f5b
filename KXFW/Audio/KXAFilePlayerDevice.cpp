// The player's output device, and what happens when the system's devices change.
#include "KXFW/Audio/CaughtException.h"
#include "KXFW/Audio/KXAFilePlayerCallbacks.h"
#include "KXFW/Audio/KXAHardwareManager.h"
#include "KXFW/Audio/StatusAssertion.h"
#include "KXFW/Platform/Foundation/NSLog.h"

#include <utility>

namespace
{

constexpr int kAttemptsToFollow = 3; ///< a default device may vanish while the chain is built on it

/// Whether listeners are still to hear of a change that questions are answered by already.
bool changesAreUntold()
{
    const auto address = KXAFilePlayer::prv_propertyAddressWithPropertyID(kAudioHardwarePropertyChangesAreUntold);
    uint32_t untold = 0;
    uint32_t size = sizeof untold;
    return AudioObjectGetPropertyData(kAudioObjectSystemObject, &address, 0, nullptr, &size, &untold) == noErr &&
           untold != 0;
}

AudioObjectID orDefault(AudioObjectID device)
{
    return device == kAudioObjectUnknown ? KXAHardwareManager::defaultOutputDeviceID() : device;
}

/// Runs `task` on the player that a listener's client data names, unless it is going away; nothing is thrown on.
template <class Task> void withLivePlayer(void *clientData, Task &&task)
{
    const auto player = static_cast<KXAFilePlayer *>(clientData)->weak_from_this().lock();
    if (!player)
        return;
    try {
        task(*player);
    } catch (...) {
        NSLog("device change failed: %@", kx::exceptionOf(std::current_exception(), "exception").what());
    }
}

} // namespace

bool KXAFilePlayer::setOutputDeviceID(AudioObjectID device)
{
    const auto self = shared_from_this(); // the block may drop the last reference
    const ControlGuard guard(controlLock_);
    if (isExporting_) {
        askForDevice(orDefault(device));
        chosenMeanwhile_ = device;
        defaultChangedMeanwhile_ = false;
        noteUntoldDefault();
        return true;
    }
    moveToDevice(device);
    noteUntoldDefault();
    runOutputRebuiltBlock();
    return true;
}

/// Changes that listeners are still to hear of were there before the choice, which holds.
void KXAFilePlayer::noteUntoldDefault()
{
    if (changesAreUntold())
        knownDefault_ = KXAHardwareManager::defaultOutputDeviceID();
}

void KXAFilePlayer::moveToDevice(AudioObjectID device)
{
    knownDefault_.reset();
    if (stopIfPlaying())
        takeBackUnheard();
    const AudioObjectID wanted = orDefault(device);
    askForDevice(wanted);
    mOutputDeviceID = wanted;
    _setupOutputUnit();
    setEffectMode(playerParam()->mode());
}

/// A device that the output unit does not take is told, and changes nothing.
void KXAFilePlayer::askForDevice(AudioObjectID device)
{
    const AudioUnit unit = outputUnit_;
    if (!unit)
        return;
    const OSStatus status = AudioUnitSetProperty(unit, kAudioOutputUnitProperty_CurrentDevice, kAudioUnitScope_Global,
                                                 0, &device, sizeof device);
    if (status != noErr)
        NSLog("output device %u refused: %@", device, kx::statusText(status));
    _ASSERT_NOERR(status, "-[KXAFilePlayer setOutputDeviceID:]");
}

void KXAFilePlayer::runOutputRebuiltBlock() noexcept
{
    try {
        if (const PlayerBlock block = outputRebuiltBlock_.get())
            block(*this);
    } catch (...) {
        NSLog("output rebuilt: %@", kx::exceptionOf(std::current_exception(), "block failed").what());
    }
}

AudioObjectPropertyAddress KXAFilePlayer::prv_propertyAddressWithPropertyID(AudioObjectPropertySelector property)
{
    return {property, kAudioObjectPropertyScopeWildcard, kAudioObjectPropertyElementWildcard};
}

void KXAFilePlayer::_setUpHardwareListenerProc()
{
    addListener(kAudioHardwarePropertyDefaultOutputDevice, KXAFilePlayerHardwarePropertyListenerProc);
    addListener(kAudioHardwarePropertyDevices, deviceListListener);
}

void KXAFilePlayer::addListener(AudioObjectPropertySelector property, AudioObjectPropertyListenerProc listener)
{
    const auto address = prv_propertyAddressWithPropertyID(property);
    _ASSERT_NOERR(AudioObjectAddPropertyListener(kAudioObjectSystemObject, &address, listener, this),
                  "-[KXAFilePlayer _setUpHardwareListenerProc]");
}

void KXAFilePlayer::removeHardwareListeners() noexcept
{
    const auto defaultOutput = prv_propertyAddressWithPropertyID(kAudioHardwarePropertyDefaultOutputDevice);
    const auto devices = prv_propertyAddressWithPropertyID(kAudioHardwarePropertyDevices);
    AudioObjectRemovePropertyListener(kAudioObjectSystemObject, &defaultOutput,
                                      KXAFilePlayerHardwarePropertyListenerProc, this);
    AudioObjectRemovePropertyListener(kAudioObjectSystemObject, &devices, deviceListListener, this);
}

OSStatus KXAFilePlayerHardwarePropertyListenerProc(AudioObjectID /*object*/, uint32_t addressCount,
                                                   const AudioObjectPropertyAddress *addresses, void *clientData)
{
    if (addressCount > 0)
        withLivePlayer(clientData, [&](KXAFilePlayer &player) {
            const AudioObjectPropertySelector changed = addresses[0].mSelector;
            if (changed != kAudioHardwarePropertyDefaultOutputDevice || player.prv_defaultIsNews())
                player._handleHardwarePropertyChange(changed);
        });
    return noErr;
}

OSStatus KXAFilePlayer::deviceListListener(AudioObjectID /*object*/, uint32_t /*count*/,
                                           const AudioObjectPropertyAddress * /*addresses*/, void *clientData)
{
    withLivePlayer(clientData, [](KXAFilePlayer &player) { player.leaveMissingDevice(); });
    return noErr;
}

OSStatus KXAFilePlayer::_handleHardwarePropertyChange(AudioObjectPropertySelector property)
{
    if (property != kAudioHardwarePropertyDefaultOutputDevice)
        return noErr;
    const auto self = shared_from_this();
    const ControlGuard guard(controlLock_);
    if (followsDefaultOutput_ || !KXAHardwareManager::deviceIDIsAlive(mOutputDeviceID))
        followDefaultDevice();
    return noErr;
}

/// The loss of the old device may have brought the player there already, or another was chosen since.
bool KXAFilePlayer::prv_defaultIsNews()
{
    const ControlGuard guard(controlLock_);
    return std::exchange(knownDefault_, std::nullopt) != KXAHardwareManager::defaultOutputDeviceID();
}

/// A device that has gone is left for the default one.
void KXAFilePlayer::leaveMissingDevice()
{
    const ControlGuard guard(controlLock_);
    const AudioObjectID device = chosenMeanwhile_.value_or(mOutputDeviceID);
    if (device == kAudioObjectUnknown || KXAHardwareManager::deviceIDIsAlive(device))
        return;
    followDefaultDevice();
    knownDefault_ = mOutputDeviceID;
}

/// Rebuilds on the default device and goes on playing there from the frame that was heard. Under the control lock.
void KXAFilePlayer::followDefaultDevice()
{
    if (isExporting_) {
        defaultChangedMeanwhile_ = true;
        chosenMeanwhile_.reset();
        return;
    }
    isMoving_ = isPlaying_.load();
    try {
        const bool wasPlaying = stopIfPlaying();
        if (wasPlaying)
            takeBackUnheard();
        for (int attempt = 0; attempt < kAttemptsToFollow && !tryDefaultDevice(); ++attempt) {
        }
        runOutputRebuiltBlock();
        if (wasPlaying && isMoving_) // else the block has stopped it
            play();
    } catch (...) {
        isMoving_ = false;
        throw;
    }
    isMoving_ = false;
}

bool KXAFilePlayer::tryDefaultDevice()
{
    try {
        moveToDevice(KXAHardwareManager::defaultOutputDeviceID());
        _setupOutputUnit();
        buildEffectChainOrNone();
        return true;
    } catch (const std::exception &exception) {
        NSLog("exception:%@", exception.what());
        return false;
    }
}

/// An effect unit that cannot be used does not keep the sound from going on.
void KXAFilePlayer::buildEffectChainOrNone()
{
    try {
        setupAUEffectMode();
    } catch (const NSException &exception) {
        NSLog("exception:%@", exception.description());
        setupNoEffectMode();
    }
}
