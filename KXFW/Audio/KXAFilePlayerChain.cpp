// The player's chain of audio units.
#include "KXFW/Audio/KXAFilePlayerCallbacks.h"
#include "KXFW/Audio/StatusAssertion.h"
#include "KXFW/Platform/Foundation/NSLog.h"

#include <cmath>
#include <map>
#include <mutex>
#include <utility>

namespace
{

constexpr uint32_t kDeviceBufferBytes = 4096;

constexpr AudioComponentDescription kConverterDescription{kAudioUnitType_FormatConverter, 0,
                                                          kAudioUnitManufacturer_Platform, 0, 0};
constexpr AudioComponentDescription kOutputDescription{kAudioUnitType_Output, kAudioUnitSubType_DefaultOutput,
                                                       kAudioUnitManufacturer_Platform, 0, 0};

OSStatus setInputFormat(AudioUnit unit, const AudioStreamBasicDescription &format)
{
    return AudioUnitSetProperty(unit, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Input, 0, &format,
                                sizeof format);
}

OSStatus connect(AudioUnit source, AudioUnit destination)
{
    const AudioUnitConnection connection{source, 0, 0};
    return AudioUnitSetProperty(destination, kAudioUnitProperty_MakeConnection, kAudioUnitScope_Input, 0, &connection,
                                sizeof connection);
}

/// False for null and for a unit that its owner has disposed of.
bool isLive(AudioUnit unit)
{
    uint32_t frames = 0;
    uint32_t size = sizeof frames;
    return unit && AudioUnitGetProperty(unit, kAudioUnitProperty_MaximumFramesPerSlice, kAudioUnitScope_Global, 0,
                                        &frames, &size) != kAudioComponentErr_InstanceInvalidated;
}

/// Which player has which effect unit.
struct EffectOwners {
    struct Owner {
        const void *player;
        int claims;
    };
    std::mutex lock;
    std::map<AudioUnit, Owner> owners;

    static EffectOwners &shared()
    {
        static auto *const owners = new EffectOwners; // for players that outlive the statics
        return *owners;
    }
};

/// A player's hold on its effect unit, which can be in one chain only.
class EffectClaim
{
public:
    EffectClaim(AudioUnit unit, const void *player) : unit_(unit), hold_(AudioUnitHold(unit))
    {
        const std::lock_guard guard(EffectOwners::shared().lock);
        auto &owner = EffectOwners::shared().owners.try_emplace(unit, EffectOwners::Owner{player, 0}).first->second;
        isGranted_ = owner.player == player;
        owner.claims += isGranted_ ? 1 : 0;
    }
    ~EffectClaim()
    {
        const std::lock_guard guard(EffectOwners::shared().lock);
        auto &owners = EffectOwners::shared().owners;
        if (isGranted_ && --owners.at(unit_).claims == 0)
            owners.erase(unit_);
    }
    EffectClaim(const EffectClaim &) = delete;
    EffectClaim &operator=(const EffectClaim &) = delete;

    [[nodiscard]] bool isGranted() const noexcept { return isGranted_; }

private:
    AudioUnit unit_;
    std::shared_ptr<void> hold_;
    bool isGranted_ = false;
};

OSStatus instantiate(const AudioComponentDescription &description, AudioUnit *unit)
{
    return AudioComponentInstanceNew(AudioComponentFindNext(nullptr, &description), unit);
}

} // namespace

bool KXAFilePlayer::setEffectMode(uint64_t mode)
{
    const ControlGuard guard(controlLock_);
    if (refusedWhileExporting("effect mode"))
        return false;
    rebuild([&] {
        playerParam()->setMode(mode);
        buildStoredMode();
    });
    return true;
}

bool KXAFilePlayer::setEffect(AudioUnit effect)
{
    const ControlGuard guard(controlLock_);
    if (refusedWhileExporting("effect"))
        return false;
    auto claim = isLive(effect) ? std::make_shared<EffectClaim>(effect, this) : nullptr;
    if (claim && !claim->isGranted()) {
        NSLog("effect refused: another player has the unit");
        return false;
    }
    rebuild([&] {
        if (effectUnit_.exchange(effect) != effect && isLive(effect))
            AudioUnitReset(effect, kAudioUnitScope_Global, 0);
        const auto before = effectHold_.exchange(std::move(claim)); // ends once it is out of the chain
        setupAUEffectMode();
    });
    return true;
}

/// Builds while the output unit is stopped, and starts it again where it was heard unless the run ended meanwhile.
void KXAFilePlayer::rebuild(const std::function<void()> &build)
{
    if (isPlaying_) {
        AudioOutputUnitStop(outputUnit_);
        if (isPlaying_)
            takeBackUnheard();
    } else {
        settle();
    }
    try {
        build();
        if (isPlaying_)
            beginRun();
    } catch (...) {
        endPlaying();
        throw;
    }
    if (isPlaying_)
        outputIsWhole_ = startOutput() == noErr;
}

/// Builds again what a set-up left half built, at the volume of now.
void KXAFilePlayer::mendChain()
{
    if (!outputIsWhole_) {
        const float before = volume();
        (void)heardFrame();                              // the next unit does not know it
        AudioComponentInstanceDispose(takeOutputUnit()); // whatever state it is in
        _setupOutputUnit();
        if (!std::isnan(before))
            setVolume(before);
    }
    if (!chainIsWhole_)
        hasEffectChain_ ? setupAUEffectMode() : setupNoEffectMode();
}

void KXAFilePlayer::buildStoredMode()
{
    const uint64_t mode = playerParam()->mode();
    if (mode == KXAEffectModeAU)
        setupAUEffectMode();
    else if (mode == KXAEffectModeNone)
        setupNoEffectMode();
}

void KXAFilePlayer::setupNoEffectMode()
{
    constexpr const char *kSite = "-[KXAFilePlayer setupNoEffectMode]";
    const ControlGuard guard(controlLock_);
    if (refusedWhileExporting("chain"))
        return;
    hasEffectChain_ = chainIsWhole_ = false;
    dispose(preConverterUnit_);
    dispose(postConverterUnit_);
    // What an effect holds is of now, and would be heard when it is back.
    if (const AudioUnit effect = effectUnit_; isLive(effect))
        AudioUnitReset(effect, kAudioUnitScope_Global, 0);
    const AudioUnit converter = makeConverter(preConverterUnit_, kSite);
    _ASSERT_NOERR(setInputFormat(converter, inputDescription()), kSite);
    _ASSERT_NOERR(AudioUnitInitialize(converter), kSite);
    installRenderCallback(converter, kSite);
    _ASSERT_NOERR(connect(converter, outputUnit_), kSite);
    playerParam()->setPostUnit(converter);
    chainIsWhole_ = true;
}

void KXAFilePlayer::setupAUEffectMode()
{
    constexpr const char *kSite = "-[KXAFilePlayer setupAUEffectMode]";
    const ControlGuard guard(controlLock_);
    if (refusedWhileExporting("chain"))
        return;
    const AudioUnit effect = effectUnit_;
    if (!isLive(effect))
        return setupNoEffectMode();
    hasEffectChain_ = true;
    chainIsWhole_ = false;
    dispose(preConverterUnit_);
    const AudioUnit pre = makeConverter(preConverterUnit_, kSite);
    _ASSERT_NOERR(setInputFormat(pre, inputDescription()), kSite);
    _ASSERT_NOERR(AudioUnitInitialize(pre), kSite);
    _ASSERT_NOERR(AudioUnitInitialize(effect), kSite);
    dispose(postConverterUnit_);
    const AudioUnit post = makeConverter(postConverterUnit_, kSite);
    _ASSERT_NOERR(AudioUnitInitialize(post), kSite);

    AudioStreamBasicDescription format{};
    uint32_t size = sizeof format;
    _ASSERT_NOERR(
        AudioUnitGetProperty(outputUnit_, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Input, 0, &format, &size),
        kSite);
    _ASSERT_NOERR(
        AudioUnitSetProperty(post, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output, 0, &format, sizeof format),
        kSite);
    installRenderCallback(pre, kSite);
    _ASSERT_NOERR(connect(pre, effect), kSite);
    _ASSERT_NOERR(connect(effect, post), kSite);
    _ASSERT_NOERR(connect(post, outputUnit_), kSite);
    playerParam()->setPostUnit(post);
    chainIsWhole_ = true;
}

void KXAFilePlayer::installRenderCallback(AudioUnit unit, const char *site)
{
    const AURenderCallbackStruct callback{MyRenderCallback3, this};
    _ASSERT_NOERR(AudioUnitSetProperty(unit, kAudioUnitProperty_SetRenderCallback, kAudioUnitScope_Input, 0, &callback,
                                       sizeof callback),
                  site);
}

AudioUnit KXAFilePlayer::makeConverter(std::atomic<AudioUnit> &field, const char *site)
{
    AudioUnit unit = nullptr;
    const OSStatus status = instantiate(kConverterDescription, &unit);
    field = unit;
    _ASSERT_NOERR(status, site);
    return unit;
}

void KXAFilePlayer::prv_cleanAudioUnitIfNeeded(AudioUnit *unit)
{
    constexpr const char *kSite = "-[KXAFilePlayer prv_cleanAudioUnitIfNeeded:]";
    if (!*unit)
        return;
    const AudioUnit ended = std::exchange(*unit, nullptr);
    _ASSERT_NOERR(AudioUnitUninitialize(ended), kSite);
    _ASSERT_NOERR(AudioComponentInstanceDispose(ended), kSite);
}

/// Ends the unit of a field, which is cleared before anything can be raised; an export never finds it there.
void KXAFilePlayer::dispose(std::atomic<AudioUnit> &field)
{
    AudioUnit unit = field.exchange(nullptr);
    if (unit && playerParam()->postUnit() == unit)
        playerParam()->setPostUnit(nullptr);
    prv_cleanAudioUnitIfNeeded(&unit);
}

/// The output unit, which ends; its underruns stay counted.
AudioUnit KXAFilePlayer::takeOutputUnit()
{
    const AudioUnit unit = outputUnit_.exchange(nullptr);
    uint64_t underruns = 0;
    uint32_t size = sizeof underruns;
    AudioUnitGetProperty(unit, kAudioOutputUnitProperty_Underruns, kAudioUnitScope_Global, 0, &underruns, &size);
    underrunsBefore_ += underruns;
    return unit;
}

void KXAFilePlayer::_setupOutputUnit()
{
    constexpr const char *kSite = "-[KXAFilePlayer _setupOutputUnit]";
    const ControlGuard guard(controlLock_);
    if (refusedWhileExporting("output unit"))
        return;
    (void)heardFrame(); // the next unit does not know it
    outputIsWhole_ = chainIsWhole_ = false;
    if (const AudioUnit old = takeOutputUnit()) {
        const OSStatus status = AudioUnitUninitialize(old);
        AudioComponentInstanceDispose(old);
        _ASSERT_NOERR(status, kSite);
    }
    AudioUnit unit = nullptr;
    const OSStatus made = instantiate(kOutputDescription, &unit);
    outputUnit_ = unit;
    _ASSERT_NOERR(made, kSite);
    _ASSERT_NOERR(AudioUnitInitialize(unit), kSite);
    float volume = this->volume();
    if (!keepsVolume_ || std::isnan(volume))
        _ASSERT_NOERR(AudioUnitGetParameter(unit, kHALOutputParam_Volume, kAudioUnitScope_Global, 0, &volume), kSite);
    setVolume(volume);
    const AudioObjectID device = mOutputDeviceID;
    _ASSERT_NOERR(AudioUnitSetProperty(unit, kAudioOutputUnitProperty_CurrentDevice, kAudioUnitScope_Global, 0, &device,
                                       sizeof device),
                  kSite);
    if (device != kAudioObjectUnknown) {
        const AudioObjectPropertyAddress bufferSize{kAudioDevicePropertyBufferSize, kAudioDevicePropertyScopeOutput, 0};
        _ASSERT_NOERR(
            AudioObjectSetPropertyData(device, &bufferSize, 0, nullptr, sizeof kDeviceBufferBytes, &kDeviceBufferBytes),
            kSite);
    }
    playerParam()->setOutputDesc(outputDescription());
    outputIsWhole_ = true;
}

AudioStreamBasicDescription KXAFilePlayer::outputDescription()
{
    const ControlGuard guard(controlLock_);
    AudioStreamBasicDescription format{};
    uint32_t size = sizeof format;
    _ASSERT_NOERR(
        AudioUnitGetProperty(outputUnit_, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Global, 0, &format, &size),
        "-[KXAFilePlayer outputDescription]");
    return format;
}

void KXAFilePlayer::_handleInputDescriptionChange()
{
    constexpr const char *kSite = "-[KXAFilePlayer _handleInputDescriptionChange]";
    const ControlGuard guard(controlLock_);
    const AudioStreamBasicDescription format = inputDescription();
    playerParam()->setInputDesc(format);
    const AudioUnit converter = preConverterUnit_;
    if (!converter)
        return;
    const bool wasWhole = std::exchange(chainIsWhole_, false);
    try {
        _ASSERT_NOERR(AudioUnitUninitialize(converter), kSite);
        _ASSERT_NOERR(setInputFormat(converter, format), kSite);
        _ASSERT_NOERR(AudioUnitInitialize(converter), kSite);
    } catch (...) {
        endPlaying(); // nothing can be heard
        throw;
    }
    chainIsWhole_ = wasWhole;
}

void KXAFilePlayer::resetAUs()
{
    const ControlGuard guard(controlLock_);
    for (const auto *unit : {&effectUnit_, &preConverterUnit_, &postConverterUnit_, &outputUnit_})
        if (const AudioUnit handle = *unit; isLive(handle))
            _ASSERT_NOERR(AudioUnitReset(handle, kAudioUnitScope_Global, 0), "-[KXAFilePlayer resetAUs]");
}
