// The player's units, output device and exports: what a caller may ask for, and when.
#include "KXFW/Audio/KXAFilePlayer.h"
#include "KXFW/Audio/KXAHardwareManager.h"
#include "KXFW/Audio/Player/PlayerEngine.h"
#include "KXFW/Platform/Foundation/NSLog.h"

#include <utility>

bool KXAFilePlayer::setEffectMode(uint64_t mode)
{
    const kx::ControlGuard guard(engine_->control);
    if (fields_->refusedWhileExporting("effect mode"))
        return false;
    engine_->transport.rebuild([&] {
        fields_->param().setMode(mode);
        engine_->chain.buildStoredMode();
    });
    return true;
}

bool KXAFilePlayer::setEffect(AudioUnit effect)
{
    const kx::ControlGuard guard(engine_->control);
    if (fields_->refusedWhileExporting("effect"))
        return false;
    auto claim = kx::EffectClaim::on(effect, this);
    if (!claim && kx::UnitChain::isLive(effect)) {
        NSLog("effect refused: another player has the unit");
        return false;
    }
    engine_->transport.rebuild([&] { engine_->chain.takeEffect(effect, std::move(claim)); });
    return true;
}

bool KXAFilePlayer::setEffect(AudioUnit effect, uint64_t mode)
{
    const kx::ControlGuard guard(engine_->control);
    return setEffect(effect) && setEffectMode(mode);
}

void KXAFilePlayer::setupNoEffectMode()
{
    const kx::ControlGuard guard(engine_->control);
    if (!fields_->refusedWhileExporting("chain"))
        engine_->chain.buildWithoutEffect();
}

void KXAFilePlayer::setupAUEffectMode()
{
    const kx::ControlGuard guard(engine_->control);
    if (!fields_->refusedWhileExporting("chain"))
        engine_->chain.buildWithEffect();
}

void KXAFilePlayer::prv_cleanAudioUnitIfNeeded(AudioUnit *unit)
{
    kx::UnitChain::end(unit);
}

void KXAFilePlayer::_setupOutputUnit()
{
    const kx::ControlGuard guard(engine_->control);
    if (!fields_->refusedWhileExporting("output unit"))
        engine_->chain.buildOutput();
}

AudioStreamBasicDescription KXAFilePlayer::outputDescription()
{
    const kx::ControlGuard guard(engine_->control);
    return engine_->chain.outputDescription();
}

void KXAFilePlayer::_handleInputDescriptionChange()
{
    const kx::ControlGuard guard(engine_->control);
    try {
        engine_->chain.takeInputDescription();
    } catch (...) {
        engine_->transport.endPlaying(); // nothing can be heard
        throw;
    }
}

void KXAFilePlayer::resetAUs()
{
    const kx::ControlGuard guard(engine_->control);
    engine_->chain.reset();
}

bool KXAFilePlayer::setOutputDeviceID(AudioObjectID device)
{
    const auto self = shared_from_this(); // the block may drop the last reference
    engine_->follower.choose(device);
    return true;
}

AudioObjectID KXAFilePlayer::outputDeviceID() const noexcept
{
    return fields_->device;
}

void KXAFilePlayer::setFollowsDefaultOutput(bool follows) noexcept
{
    engine_->follower.setFollowsDefault(follows);
}

bool KXAFilePlayer::followsDefaultOutput() const noexcept
{
    return engine_->follower.followsDefault();
}

void KXAFilePlayer::setKeepsVolume(bool keeps) noexcept
{
    engine_->chain.setKeepsVolume(keeps);
}

bool KXAFilePlayer::keepsVolume() const noexcept
{
    return engine_->chain.keepsVolume();
}

void KXAFilePlayer::setOutputRebuiltBlock(PlayerBlock block)
{
    engine_->follower.setRebuiltBlock(std::move(block));
}

void KXAFilePlayer::_setUpHardwareListenerProc()
{
    engine_->follower.listen();
}

AudioObjectPropertyAddress KXAFilePlayer::prv_propertyAddressWithPropertyID(AudioObjectPropertySelector property)
{
    return KXAHardwareManager::prv_propertyAddressWithPropertyID(property);
}

OSStatus KXAFilePlayer::_handleHardwarePropertyChange(AudioObjectPropertySelector property)
{
    const auto self = shared_from_this(); // the block may drop the last reference
    if (property == kAudioHardwarePropertyDefaultOutputDevice)
        engine_->follower.defaultHasChanged();
    return noErr;
}

bool KXAFilePlayer::prepareForExport()
{
    return engine_->exports.prepare();
}

bool KXAFilePlayer::exportAsyncWithURL(const std::filesystem::path &url, ProgressAndCancelBlock progressAndCancelBlock,
                                       CompletionBlock completionBlock, FailureBlock failureBlock)
{
    return exportAsyncWithURL(url, std::move(progressAndCancelBlock), std::move(completionBlock),
                              std::move(failureBlock), {});
}

bool KXAFilePlayer::exportAsyncWithURL(const std::filesystem::path &url, ProgressAndCancelBlock progressAndCancelBlock,
                                       CompletionBlock completionBlock, FailureBlock failureBlock,
                                       const KXAExportOptions &options)
{
    return engine_->exports.start(shared_from_this(), {url, std::move(progressAndCancelBlock),
                                                       std::move(completionBlock), std::move(failureBlock), options});
}
