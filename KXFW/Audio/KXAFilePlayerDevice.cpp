// The player's output device, and what happens when the system's devices change.
#include "KXFW/Audio/KXAFilePlayer.h"
#include "KXFW/Audio/KXAHardwareManager.h"
#include "KXFW/Audio/StatusAssertion.h"
#include "KXFW/Platform/Foundation/NSLog.h"

namespace
{

constexpr int kAttemptsToFollow = 3; ///< a default device may vanish while the chain is built on it

/// Runs `task` on the player that a listener's client data names, unless it is going away; nothing is thrown on.
template <class Task> void withLivePlayer(void *clientData, Task &&task)
{
    const auto player = static_cast<KXAFilePlayer *>(clientData)->weak_from_this().lock();
    if (!player)
        return;
    try {
        task(*player);
    } catch (const std::exception &exception) {
        NSLog("device change failed: %@", exception.what());
    }
}

} // namespace

bool KXAFilePlayer::setOutputDeviceID(AudioObjectID device)
{
    const ControlGuard guard(controlLock_);
    if (isExporting_) {
        chosenMeanwhile_ = device;
        return true;
    }
    moveToDevice(device);
    runOutputRebuiltBlock();
    return true;
}

void KXAFilePlayer::moveToDevice(AudioObjectID device)
{
    mOutputDeviceID = device;
    stopIfPlaying();
    lastDefaultDevice_ = KXAHardwareManager::defaultOutputDeviceID();
    if (device == kAudioObjectUnknown)
        mOutputDeviceID = lastDefaultDevice_;
    if (const AudioUnit unit = outputUnit_) {
        const AudioObjectID current = mOutputDeviceID;
        _ASSERT_NOERR(AudioUnitSetProperty(unit, kAudioOutputUnitProperty_CurrentDevice, kAudioUnitScope_Global, 0,
                                           &current, sizeof current),
                      "-[KXAFilePlayer setOutputDeviceID:]");
    }
    _setupOutputUnit();
    setEffectMode(playerParam()->mode());
}

void KXAFilePlayer::runOutputRebuiltBlock()
{
    if (const auto block = outputRebuiltBlock_.get())
        block();
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
        withLivePlayer(clientData,
                       [&](KXAFilePlayer &player) { player._handleHardwarePropertyChange(addresses[0].mSelector); });
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
    const ControlGuard guard(controlLock_);
    if (followsDefaultOutput_ || !KXAHardwareManager::deviceIDIsAlive(mOutputDeviceID))
        followDefaultDevice();
    lastDefaultDevice_ = KXAHardwareManager::defaultOutputDeviceID();
    return noErr;
}

/// A device that has gone is left for the default one. Where the default changes too, its own notification does that.
void KXAFilePlayer::leaveMissingDevice()
{
    const ControlGuard guard(controlLock_);
    if (mOutputDeviceID == kAudioObjectUnknown || KXAHardwareManager::deviceIDIsAlive(mOutputDeviceID))
        return;
    if (lastDefaultDevice_ == KXAHardwareManager::defaultOutputDeviceID())
        followDefaultDevice();
}

/// Rebuilds on the default device and goes on playing there from the same byte offset. Under the control lock.
void KXAFilePlayer::followDefaultDevice()
{
    if (isExporting_) {
        defaultChangedMeanwhile_ = true;
        return;
    }
    const bool wasPlaying = stopIfPlaying();
    for (int attempt = 0; attempt < kAttemptsToFollow && !tryDefaultDevice(); ++attempt) {
    }
    runOutputRebuiltBlock();
    if (wasPlaying)
        play();
}

bool KXAFilePlayer::tryDefaultDevice()
{
    try {
        moveToDevice(KXAHardwareManager::defaultOutputDeviceID());
        _setupOutputUnit();
        setupAUEffectMode();
        return true;
    } catch (const NSException &exception) {
        NSLog("exception:%@", exception.description());
        return false;
    }
}
