// What the calls with property and parameter numbers come down to.

#include "KXFW/Platform/AudioUnits/Unit.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

namespace kx
{

namespace
{

constexpr uint32_t kGlobal = scopeBit(kAudioUnitScope_Global);
constexpr uint32_t kInput = scopeBit(kAudioUnitScope_Input);
constexpr uint32_t kOutput = scopeBit(kAudioUnitScope_Output);

/// Scopes of the stream formats are those of a unit with two sides; see `find`.
constexpr std::array kCommonProperties{
    PropertyRow{kAudioUnitProperty_MakeConnection, kInput, sizeof(AudioUnitConnection), false, true},
    PropertyRow{kAudioUnitProperty_SampleRate, kInput | kOutput, sizeof(double), true, true},
    PropertyRow{kAudioUnitProperty_StreamFormat, kInput | kOutput, sizeof(AudioStreamBasicDescription), true, true},
    PropertyRow{kAudioUnitProperty_Latency, kGlobal, sizeof(double), true, false},
    PropertyRow{kAudioUnitProperty_MaximumFramesPerSlice, kGlobal, sizeof(uint32_t), true, true},
    PropertyRow{kAudioUnitProperty_HeldFrames, kGlobal, sizeof(uint32_t), true, false},
    PropertyRow{kAudioUnitProperty_DrawRate, kGlobal, sizeof(double), true, false},
    PropertyRow{kAudioUnitProperty_SetRenderCallback, kInput, sizeof(AURenderCallbackStruct), false, true},
};

template <class T> T valueAt(const void *data) noexcept
{
    T value;
    std::memcpy(&value, data, sizeof value);
    return value;
}

bool isStreamFormat(AudioUnitPropertyID id) noexcept
{
    return id == kAudioUnitProperty_SampleRate || id == kAudioUnitProperty_StreamFormat;
}

} // namespace

OSStatus Unit::setOwnProperty(AudioUnitPropertyID, const void *)
{
    return kAudioUnitErr_InvalidProperty;
}
OSStatus Unit::getOwnProperty(AudioUnitPropertyID, void *)
{
    return kAudioUnitErr_InvalidProperty;
}

OSStatus Unit::find(const PropertyAddress &address, PropertyRow &row) const
{
    const auto isIt = [&](const PropertyRow &candidate) { return candidate.id == address.id; };
    const auto own = ownProperties();
    if (const auto at = std::ranges::find_if(own, isIt); at != own.end())
        row = *at;
    else if (const auto common = std::ranges::find_if(kCommonProperties, isIt); common != kCommonProperties.end())
        row = *common;
    else
        return kAudioUnitErr_InvalidProperty;
    if (isStreamFormat(row.id) && !hasOutputBus())
        row.scopes = kInput | kGlobal;
    if (!(row.scopes & scopeBit(address.scope)))
        return kAudioUnitErr_InvalidScope;
    return address.element == 0 ? noErr : kAudioUnitErr_InvalidElement;
}

OSStatus Unit::setProperty(const PropertyAddress &address, const void *data, uint32_t size)
{
    PropertyRow row{};
    if (const OSStatus status = find(address, row); status != noErr)
        return status;
    if (!row.writable)
        return kAudioUnitErr_PropertyNotWritable;
    if (!data || size != row.size)
        return kAudioUnitErr_InvalidPropertyValue;
    switch (row.id) {
    case kAudioUnitProperty_MakeConnection:
        return makeConnection(valueAt<AudioUnitConnection>(data));
    case kAudioUnitProperty_SampleRate:
        return setRate(sideOf(address.scope), valueAt<double>(data));
    case kAudioUnitProperty_StreamFormat:
        return setFormat(sideOf(address.scope), valueAt<AudioStreamBasicDescription>(data), true);
    case kAudioUnitProperty_MaximumFramesPerSlice:
        return setMaximumFrames(valueAt<uint32_t>(data));
    case kAudioUnitProperty_SetRenderCallback:
        return setCallback(valueAt<AURenderCallbackStruct>(data));
    default:
        return setOwnProperty(row.id, data);
    }
}

OSStatus Unit::getProperty(const PropertyAddress &address, void *data, uint32_t *size)
{
    PropertyRow row{};
    if (const OSStatus status = find(address, row); status != noErr)
        return status;
    if (!row.readable)
        return kAudioUnitErr_InvalidProperty;
    if (!data || !size || *size < row.size)
        return kAudioUnitErr_InvalidPropertyValue;
    *size = row.size;
    const UnitFormats formats = sides().formats;
    const auto &format = sideOf(address.scope) == Side::Input ? formats.input : formats.output;
    const auto give = [&](const auto &value) {
        std::memcpy(data, &value, sizeof value);
        return noErr;
    };
    switch (row.id) {
    case kAudioUnitProperty_SampleRate:
        return give(format.mSampleRate);
    case kAudioUnitProperty_StreamFormat:
        return give(format);
    case kAudioUnitProperty_Latency:
        return give(latencySeconds());
    case kAudioUnitProperty_MaximumFramesPerSlice:
        return give(formats.maximumFrames);
    case kAudioUnitProperty_HeldFrames:
        return give(heldFrames());
    case kAudioUnitProperty_DrawRate:
        return give(drawRate());
    default:
        return getOwnProperty(row.id, data);
    }
}

uint32_t Unit::heldFrames(uint32_t behind) const
{
    const auto source = input_.source();
    const uint32_t own = ownHeldFrames(behind);
    return source ? source->heldFrames(own) : own;
}

double Unit::drawRate() const
{
    const auto source = input_.source();
    return ownDrawRate() * (source ? source->drawRate() : 1);
}

Parameter *Unit::findParameter(AudioUnitParameterID id) noexcept
{
    const auto all = parameters();
    const auto at = std::ranges::find_if(all, [&](const Parameter &parameter) { return parameter.id == id; });
    return at == all.end() ? nullptr : &*at;
}

OSStatus Unit::setParameter(AudioUnitParameterID id, AudioUnitScope scope, AudioUnitElement element, float value)
{
    Parameter *const parameter = findParameter(id);
    if (!parameter || std::isnan(value))
        return kAudioUnitErr_InvalidParameter;
    if (scope != kAudioUnitScope_Global)
        return kAudioUnitErr_InvalidScope;
    if (element != 0)
        return kAudioUnitErr_InvalidElement;
    if (parameter->outside == Parameter::Outside::Refused &&
        !(value >= parameter->minimum && value <= parameter->maximum))
        return kAudioUnitErr_InvalidPropertyValue;
    parameter->value = std::clamp(value, parameter->minimum, parameter->maximum);
    return noErr;
}

OSStatus Unit::getParameter(AudioUnitParameterID id, AudioUnitScope scope, AudioUnitElement element, float *value)
{
    const Parameter *const parameter = findParameter(id);
    if (!parameter || !value)
        return kAudioUnitErr_InvalidParameter;
    if (scope != kAudioUnitScope_Global)
        return kAudioUnitErr_InvalidScope;
    if (element != 0)
        return kAudioUnitErr_InvalidElement;
    *value = parameter->value;
    return noErr;
}

} // namespace kx
