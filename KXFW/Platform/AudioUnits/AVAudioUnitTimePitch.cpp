#include "KXFW/Platform/AudioUnits/AVAudioUnitTimePitch.h"

#include "KXFW/Platform/Foundation/NSException.h"

namespace
{

constexpr AudioComponentDescription kDescription{kAudioUnitType_FormatConverter, kAudioUnitSubType_TimePitch,
                                                 kAudioUnitManufacturer_Platform, 0, 0};

float valueOf(AudioUnit unit, AudioUnitParameterID parameter)
{
    float value = 0;
    AudioUnitGetParameter(unit, parameter, kAudioUnitScope_Global, 0, &value);
    return value;
}

} // namespace

struct AVAudioUnitTimePitch::Impl {
    AudioUnit unit = nullptr;
};

AVAudioUnitTimePitch::AVAudioUnitTimePitch() : impl_(std::make_unique<Impl>())
{
    const OSStatus status = AudioComponentInstanceNew(AudioComponentFindNext(nullptr, &kDescription), &impl_->unit);
    if (status != noErr)
        throw NSException("AVAudioUnitTimePitch", "the time-pitch unit cannot be made");
}

AVAudioUnitTimePitch::~AVAudioUnitTimePitch()
{
    AudioComponentInstanceRelease(impl_->unit);
}

AudioUnit AVAudioUnitTimePitch::audioUnit() const noexcept
{
    return impl_->unit;
}

OSStatus AVAudioUnitTimePitch::setRate(float rate)
{
    return AudioUnitSetParameter(impl_->unit, kTimePitchParam_Rate, kAudioUnitScope_Global, 0, rate, 0);
}

float AVAudioUnitTimePitch::rate() const
{
    return valueOf(impl_->unit, kTimePitchParam_Rate);
}

OSStatus AVAudioUnitTimePitch::setPitch(float cents)
{
    return AudioUnitSetParameter(impl_->unit, kTimePitchParam_Pitch, kAudioUnitScope_Global, 0, cents, 0);
}

float AVAudioUnitTimePitch::pitch() const
{
    return valueOf(impl_->unit, kTimePitchParam_Pitch);
}
