#include "KXFW/Platform/AudioUnits/AudioUnit.h"

#include "KXFW/Platform/AudioUnits/ComponentTable.h"
#include "KXFW/Platform/AudioUnits/RenderScope.h"
#include "KXFW/Platform/AudioUnits/Unit.h"
#include "KXFW/Platform/AudioUnits/UnitRegistry.h"
#include "KXFW/Platform/AudioUnits/Units/OutputRun.h"

#include <utility>

namespace
{

bool matches(FourCharCode wanted, FourCharCode code)
{
    return wanted == 0 || wanted == code;
}

bool matches(const AudioComponentDescription &wanted, const AudioComponentDescription &row)
{
    return matches(wanted.componentType, row.componentType) && matches(wanted.componentSubType, row.componentSubType) &&
           matches(wanted.componentManufacturer, row.componentManufacturer);
}

AudioComponent asComponent(const kx::ComponentRow &row)
{
    return reinterpret_cast<AudioComponent>(&row);
}

/// Nothing that a unit's work throws (memory or threads that cannot be had) leaves the service.
template <class Work> OSStatus caught(Work &&work) noexcept
{
    try {
        return std::forward<Work>(work)();
    } catch (...) {
        return kAudioUnitErr_FailedInitialization;
    }
}

template <class Work> OSStatus withUnit(AudioUnit handle, Work &&work) noexcept
{
    return caught([&] {
        const auto unit = kx::UnitRegistry::find(handle);
        return unit ? work(*unit) : kAudioComponentErr_InstanceInvalidated;
    });
}

/// For work that may wait for a render, which a thread inside a render must not.
template <class Work> OSStatus changeUnit(AudioUnit handle, Work &&work) noexcept
{
    return withUnit(handle, [&](kx::Unit &unit) -> OSStatus {
        return kx::RenderScope::depth() > 0 ? kAudioUnitErr_CannotDoInCurrentContext : work(unit);
    });
}

template <class Work> OSStatus withOutput(AudioUnit handle, Work &&work) noexcept
{
    return withUnit(handle, [&](kx::Unit &unit) -> OSStatus {
        kx::OutputControl *const output = unit.outputControl();
        return output ? work(*output) : kAudioUnitErr_InvalidProperty;
    });
}

} // namespace

AudioComponent AudioComponentFindNext(AudioComponent after, const AudioComponentDescription *description)
{
    bool reached = after == nullptr;
    for (const kx::ComponentRow &row : kx::componentTable()) {
        if (reached && description && matches(*description, row.description))
            return asComponent(row);
        reached = reached || asComponent(row) == after;
    }
    return nullptr;
}

OSStatus AudioComponentInstanceNew(AudioComponent component, AudioUnit *unit)
{
    if (!unit)
        return kAudioUnitErr_InvalidPropertyValue;
    *unit = nullptr;
    for (const kx::ComponentRow &row : kx::componentTable())
        if (asComponent(row) == component)
            return caught([&] {
                *unit = kx::UnitRegistry::add(row.make());
                return noErr;
            });
    return kAudioComponentErr_InstanceInvalidated;
}

OSStatus AudioComponentInstanceDispose(AudioUnit unit)
{
    return caught([&]() -> OSStatus {
        const auto ended = kx::UnitRegistry::remove(unit);
        if (!ended)
            return kAudioComponentErr_InstanceInvalidated;
        ended->dispose();
        return noErr;
    });
}

std::shared_ptr<void> AudioUnitHold(AudioUnit unit)
{
    if (!kx::UnitRegistry::hold(unit))
        return nullptr;
    return {unit, [](AudioUnit held) {
                caught([held] {
                    if (const auto ended = kx::UnitRegistry::letGo(held))
                        ended->dispose();
                    return noErr;
                });
            }};
}

OSStatus AudioComponentInstanceRelease(AudioUnit unit)
{
    return caught([&]() -> OSStatus {
        if (!kx::UnitRegistry::find(unit))
            return kAudioComponentErr_InstanceInvalidated;
        if (const auto ended = kx::UnitRegistry::release(unit))
            ended->dispose();
        return noErr;
    });
}

OSStatus AudioUnitInitialize(AudioUnit unit)
{
    return changeUnit(unit, [](kx::Unit &it) { return it.initialize(); });
}

OSStatus AudioUnitUninitialize(AudioUnit unit)
{
    return changeUnit(unit, [](kx::Unit &it) { return it.uninitialize(); });
}

OSStatus AudioUnitSetProperty(AudioUnit unit, AudioUnitPropertyID property, AudioUnitScope scope,
                              AudioUnitElement element, const void *data, uint32_t size)
{
    return changeUnit(unit, [&](kx::Unit &it) { return it.setProperty({property, scope, element}, data, size); });
}

OSStatus AudioUnitGetProperty(AudioUnit unit, AudioUnitPropertyID property, AudioUnitScope scope,
                              AudioUnitElement element, void *data, uint32_t *size)
{
    return withUnit(unit, [&](kx::Unit &it) { return it.getProperty({property, scope, element}, data, size); });
}

OSStatus AudioUnitSetParameter(AudioUnit unit, AudioUnitParameterID parameter, AudioUnitScope scope,
                               AudioUnitElement element, float value, uint32_t /*bufferOffset*/)
{
    return withUnit(unit, [&](kx::Unit &it) { return it.setParameter(parameter, scope, element, value); });
}

OSStatus AudioUnitGetParameter(AudioUnit unit, AudioUnitParameterID parameter, AudioUnitScope scope,
                               AudioUnitElement element, float *value)
{
    return withUnit(unit, [&](kx::Unit &it) { return it.getParameter(parameter, scope, element, value); });
}

OSStatus AudioUnitReset(AudioUnit unit, AudioUnitScope scope, AudioUnitElement element)
{
    return changeUnit(unit, [&](kx::Unit &it) -> OSStatus {
        if (scope > kAudioUnitScope_Output)
            return kAudioUnitErr_InvalidScope;
        return element == 0 ? it.reset() : kAudioUnitErr_InvalidElement;
    });
}

OSStatus AudioUnitRender(AudioUnit unit, AudioUnitRenderActionFlags * /*flags*/, const AudioTimeStamp *time,
                         uint32_t bus, uint32_t frames, AudioBufferList *data)
{
    return withUnit(unit, [&](kx::Unit &it) -> OSStatus {
        if (!it.hasOutputBus() || bus != 0)
            return kAudioUnitErr_InvalidElement;
        if (!data)
            return kAudioUnitErr_InvalidParameter;
        return it.render(time ? *time : AudioTimeStamp{}, frames, *data, nullptr);
    });
}

OSStatus AudioOutputUnitStart(AudioUnit unit)
{
    return withOutput(unit, [](kx::OutputControl &it) { return it.start(); });
}

OSStatus AudioOutputUnitStop(AudioUnit unit)
{
    if (kx::OutputRun::endFromInside(unit))
        return noErr;
    return withOutput(unit, [](kx::OutputControl &it) { return it.stop(); });
}

OSStatus AudioOutputUnitSettle(AudioUnit unit)
{
    return withOutput(unit, [](kx::OutputControl &it) { return it.settle(); });
}
