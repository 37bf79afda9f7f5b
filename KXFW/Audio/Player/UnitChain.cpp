#include "KXFW/Audio/Player/UnitChain.h"

#include "KXFW/Audio/KXAFilePlayerCallbacks.h"
#include "KXFW/Audio/StatusAssertion.h"
#include "KXFW/Platform/Foundation/NSException.h"
#include "KXFW/Platform/Foundation/NSLog.h"

#include <cmath>
#include <utility>

namespace kx
{

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

OSStatus instantiate(const AudioComponentDescription &description, AudioUnit *unit)
{
    return AudioComponentInstanceNew(AudioComponentFindNext(nullptr, &description), unit);
}

uint64_t underrunsOf(AudioUnit output)
{
    uint64_t underruns = 0;
    uint32_t size = sizeof underruns;
    AudioUnitGetProperty(output, kAudioOutputUnitProperty_Underruns, kAudioUnitScope_Global, 0, &underruns, &size);
    return underruns;
}

} // namespace

void UnitChain::endAll() noexcept
{
    for (auto *unit : {&fields_.outputUnit, &fields_.preConverterUnit, &fields_.postConverterUnit})
        if (const AudioUnit handle = unit->exchange(nullptr))
            AudioComponentInstanceDispose(handle);
}

bool UnitChain::isLive(AudioUnit unit)
{
    uint32_t frames = 0;
    uint32_t size = sizeof frames;
    return unit && AudioUnitGetProperty(unit, kAudioUnitProperty_MaximumFramesPerSlice, kAudioUnitScope_Global, 0,
                                        &frames, &size) != kAudioComponentErr_InstanceInvalidated;
}

void UnitChain::takeEffect(AudioUnit effect, std::shared_ptr<EffectClaim> claim)
{
    if (fields_.effectUnit.exchange(effect) != effect && isLive(effect))
        AudioUnitReset(effect, kAudioUnitScope_Global, 0);
    const auto before = std::exchange(claim_, std::move(claim)); // ends once it is out of the chain
    buildWithEffect();
}

void UnitChain::mend()
{
    if (!outputIsWhole_) {
        const float before = fields_.param().volume();
        (void)position_.heard();                         // the next unit does not know it
        AudioComponentInstanceDispose(takeOutputUnit()); // whatever state it is in
        buildOutput();
        if (!std::isnan(before))
            setVolume(before);
    }
    if (!chainIsWhole_)
        hasEffectChain_ ? buildWithEffect() : buildWithoutEffect();
}

void UnitChain::buildStoredMode()
{
    const uint64_t mode = fields_.param().mode();
    if (mode == KXAEffectModeAU)
        buildWithEffect();
    else if (mode == KXAEffectModeNone)
        buildWithoutEffect();
}

/// An effect unit that cannot be used does not keep the sound from going on.
void UnitChain::buildAny()
{
    try {
        buildWithEffect();
    } catch (const NSException &exception) {
        NSLog("exception:%@", exception.description());
        buildWithoutEffect();
    }
}

void UnitChain::buildWithoutEffect()
{
    constexpr const char *kSite = "-[KXAFilePlayer setupNoEffectMode]";
    hasEffectChain_ = chainIsWhole_ = false;
    dispose(fields_.preConverterUnit);
    dispose(fields_.postConverterUnit);
    // What an effect holds is of now, and would be heard when it is back.
    if (const AudioUnit effect = fields_.effectUnit; isLive(effect))
        AudioUnitReset(effect, kAudioUnitScope_Global, 0);
    const AudioUnit converter = makeConverter(fields_.preConverterUnit, kSite);
    _ASSERT_NOERR(setInputFormat(converter, fields_.inputDescription.get()), kSite);
    _ASSERT_NOERR(AudioUnitInitialize(converter), kSite);
    installRenderCallback(converter, kSite);
    _ASSERT_NOERR(connect(converter, fields_.outputUnit), kSite);
    fields_.param().setPostUnit(converter);
    chainIsWhole_ = true;
}

void UnitChain::buildWithEffect()
{
    constexpr const char *kSite = "-[KXAFilePlayer setupAUEffectMode]";
    const AudioUnit effect = fields_.effectUnit;
    if (!isLive(effect))
        return buildWithoutEffect();
    hasEffectChain_ = true;
    chainIsWhole_ = false;
    dispose(fields_.preConverterUnit);
    const AudioUnit pre = makeConverter(fields_.preConverterUnit, kSite);
    _ASSERT_NOERR(setInputFormat(pre, fields_.inputDescription.get()), kSite);
    _ASSERT_NOERR(AudioUnitInitialize(pre), kSite);
    _ASSERT_NOERR(AudioUnitInitialize(effect), kSite);
    dispose(fields_.postConverterUnit);
    const AudioUnit post = makeConverter(fields_.postConverterUnit, kSite);
    _ASSERT_NOERR(AudioUnitInitialize(post), kSite);

    AudioStreamBasicDescription format{};
    uint32_t size = sizeof format;
    _ASSERT_NOERR(AudioUnitGetProperty(fields_.outputUnit, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Input, 0,
                                       &format, &size),
                  kSite);
    _ASSERT_NOERR(
        AudioUnitSetProperty(post, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output, 0, &format, sizeof format),
        kSite);
    installRenderCallback(pre, kSite);
    _ASSERT_NOERR(connect(pre, effect), kSite);
    _ASSERT_NOERR(connect(effect, post), kSite);
    _ASSERT_NOERR(connect(post, fields_.outputUnit), kSite);
    fields_.param().setPostUnit(post);
    chainIsWhole_ = true;
}

void UnitChain::installRenderCallback(AudioUnit unit, const char *site)
{
    const AURenderCallbackStruct callback{MyRenderCallback3, player_};
    _ASSERT_NOERR(AudioUnitSetProperty(unit, kAudioUnitProperty_SetRenderCallback, kAudioUnitScope_Input, 0, &callback,
                                       sizeof callback),
                  site);
}

AudioUnit UnitChain::makeConverter(std::atomic<AudioUnit> &field, const char *site)
{
    AudioUnit unit = nullptr;
    const OSStatus status = instantiate(kConverterDescription, &unit);
    field = unit;
    _ASSERT_NOERR(status, site);
    return unit;
}

void UnitChain::end(AudioUnit *unit)
{
    constexpr const char *kSite = "-[KXAFilePlayer prv_cleanAudioUnitIfNeeded:]";
    if (!*unit)
        return;
    const AudioUnit ended = std::exchange(*unit, nullptr);
    _ASSERT_NOERR(AudioUnitUninitialize(ended), kSite);
    _ASSERT_NOERR(AudioComponentInstanceDispose(ended), kSite);
}

/// Ends the unit of a field, which is cleared before anything can be raised; an export never finds it there.
void UnitChain::dispose(std::atomic<AudioUnit> &field)
{
    AudioUnit unit = field.exchange(nullptr);
    if (unit && fields_.param().postUnit() == unit)
        fields_.param().setPostUnit(nullptr);
    end(&unit);
}

/// The output unit, which ends; its underruns stay counted.
AudioUnit UnitChain::takeOutputUnit()
{
    const std::lock_guard guard(underrunsLock_);
    const AudioUnit unit = fields_.outputUnit.exchange(nullptr);
    underrunsBefore_ += underrunsOf(unit);
    return unit;
}

uint64_t UnitChain::underruns() const
{
    const std::lock_guard guard(underrunsLock_);
    return underrunsBefore_ + underrunsOf(fields_.outputUnit);
}

void UnitChain::buildOutput()
{
    constexpr const char *kSite = "-[KXAFilePlayer _setupOutputUnit]";
    (void)position_.heard(); // the next unit does not know it
    outputIsWhole_ = chainIsWhole_ = false;
    if (const AudioUnit old = takeOutputUnit()) {
        const OSStatus status = AudioUnitUninitialize(old);
        AudioComponentInstanceDispose(old);
        _ASSERT_NOERR(status, kSite);
    }
    AudioUnit unit = nullptr;
    const OSStatus made = instantiate(kOutputDescription, &unit);
    fields_.outputUnit = unit;
    _ASSERT_NOERR(made, kSite);
    _ASSERT_NOERR(AudioUnitInitialize(unit), kSite);
    tuneOutput(unit, kSite);
    fields_.param().setOutputDesc(outputDescription());
    outputIsWhole_ = true;
}

/// Its volume, its device, and the device's buffer.
void UnitChain::tuneOutput(AudioUnit unit, const char *site)
{
    float volume = fields_.param().volume();
    if (!keepsVolume_ || std::isnan(volume))
        _ASSERT_NOERR(AudioUnitGetParameter(unit, kHALOutputParam_Volume, kAudioUnitScope_Global, 0, &volume), site);
    setVolume(volume);
    const AudioObjectID device = fields_.device;
    _ASSERT_NOERR(AudioUnitSetProperty(unit, kAudioOutputUnitProperty_CurrentDevice, kAudioUnitScope_Global, 0, &device,
                                       sizeof device),
                  site);
    if (device == kAudioObjectUnknown)
        return;
    const AudioObjectPropertyAddress bufferSize{kAudioDevicePropertyBufferSize, kAudioDevicePropertyScopeOutput, 0};
    _ASSERT_NOERR(
        AudioObjectSetPropertyData(device, &bufferSize, 0, nullptr, sizeof kDeviceBufferBytes, &kDeviceBufferBytes),
        site);
}

void UnitChain::setVolume(float volume)
{
    KXAPlayerParam &param = fields_.param();
    param.setVolume(volume);
    _ASSERT_NOERR(
        AudioUnitSetParameter(fields_.outputUnit, kHALOutputParam_Volume, kAudioUnitScope_Global, 0, param.volume(), 0),
        "-[KXAFilePlayer setVolume:]");
}

AudioStreamBasicDescription UnitChain::outputDescription() const
{
    AudioStreamBasicDescription format{};
    uint32_t size = sizeof format;
    _ASSERT_NOERR(AudioUnitGetProperty(fields_.outputUnit, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Global, 0,
                                       &format, &size),
                  "-[KXAFilePlayer outputDescription]");
    return format;
}

void UnitChain::takeInputDescription()
{
    constexpr const char *kSite = "-[KXAFilePlayer _handleInputDescriptionChange]";
    const AudioStreamBasicDescription format = fields_.inputDescription.get();
    fields_.param().setInputDesc(format);
    const AudioUnit converter = fields_.preConverterUnit;
    if (!converter)
        return;
    const bool wasWhole = std::exchange(chainIsWhole_, false);
    _ASSERT_NOERR(AudioUnitUninitialize(converter), kSite);
    _ASSERT_NOERR(setInputFormat(converter, format), kSite);
    _ASSERT_NOERR(AudioUnitInitialize(converter), kSite);
    chainIsWhole_ = wasWhole;
}

void UnitChain::reset()
{
    for (const auto *unit :
         {&fields_.effectUnit, &fields_.preConverterUnit, &fields_.postConverterUnit, &fields_.outputUnit})
        if (const AudioUnit handle = *unit; isLive(handle))
            _ASSERT_NOERR(AudioUnitReset(handle, kAudioUnitScope_Global, 0), "-[KXAFilePlayer resetAUs]");
}

} // namespace kx
