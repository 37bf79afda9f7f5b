/// @file
/// Hardware audio objects: the system object with its device list and defaults, the devices, their properties and the
/// listeners of property changes. All calls may come from any thread and none waits for the sound server longer than
/// a second.
#pragma once

#include "KXFW/Platform/Foundation/AudioTypes.h"
#include "KXFW/Platform/Foundation/Export.h"
#include "KXFW/Platform/Foundation/Status.h"

using AudioObjectID = uint32_t; ///< 0 names no object; a device keeps its number as long as it is present
using AudioObjectPropertySelector = uint32_t;
using AudioObjectPropertyScope = uint32_t;
using AudioObjectPropertyElement = uint32_t;

struct AudioObjectPropertyAddress {
    AudioObjectPropertySelector mSelector;
    AudioObjectPropertyScope mScope;
    AudioObjectPropertyElement mElement; ///< the channel; 0 is the object as a whole
};

inline constexpr AudioObjectID kAudioObjectUnknown = 0;
inline constexpr AudioObjectID kAudioObjectSystemObject = 1;

inline constexpr AudioObjectPropertySelector kAudioHardwarePropertyDevices = kx::fourCharCode("dev#");
inline constexpr AudioObjectPropertySelector kAudioHardwarePropertyDefaultInputDevice = kx::fourCharCode("dIn ");
inline constexpr AudioObjectPropertySelector kAudioHardwarePropertyDefaultOutputDevice = kx::fourCharCode("dOut");
inline constexpr AudioObjectPropertySelector kAudioHardwarePropertySleepingIsAllowed = kx::fourCharCode("slep");
/// uint32_t, read only: 1 from a change of the system's devices or defaults until the last listener has heard of it,
/// else 0. Who decides meanwhile has seen what the listeners will be told.
inline constexpr AudioObjectPropertySelector kAudioHardwarePropertyChangesAreUntold = kx::fourCharCode("untd");
/// A C string with its final zero, UTF-8.
inline constexpr AudioObjectPropertySelector kAudioDevicePropertyDeviceName = kx::fourCharCode("name");
/// A C string: the name by which the sound server knows the device, the same from run to run.
inline constexpr AudioObjectPropertySelector kAudioDevicePropertyDeviceUID = kx::fourCharCode("uid ");
/// uint32_t, bytes of the device's own format: how much a unit hands to the device at a time.
inline constexpr AudioObjectPropertySelector kAudioDevicePropertyBufferSize = kx::fourCharCode("bsiz");
/// AudioStreamBasicDescription: the device's own format.
inline constexpr AudioObjectPropertySelector kAudioDevicePropertyStreamFormat = kx::fourCharCode("sfmt");
/// uint32_t: 1 where the device can play (scope output or any other) or record (scope input), else 0.
inline constexpr AudioObjectPropertySelector kAudioDevicePropertyDeviceCanBeDefaultDevice = kx::fourCharCode("dflt");
/// uint32_t: kAudioDeviceTransportTypeVirtual for the virtual device, else kAudioDeviceTransportTypeUnknown.
inline constexpr AudioObjectPropertySelector kAudioDevicePropertyTransportType = kx::fourCharCode("tran");

inline constexpr uint32_t kAudioDeviceTransportTypeUnknown = 0;
inline constexpr uint32_t kAudioDeviceTransportTypeVirtual = kx::fourCharCode("virt");

inline constexpr AudioObjectPropertyScope kAudioObjectPropertyScopeGlobal = kx::fourCharCode("glob");
inline constexpr AudioObjectPropertyScope kAudioObjectPropertyScopeWildcard = kx::fourCharCode("****");
inline constexpr AudioObjectPropertyScope kAudioDevicePropertyScopeInput = kx::fourCharCode("inpt");
inline constexpr AudioObjectPropertyScope kAudioDevicePropertyScopeOutput = kx::fourCharCode("outp");
inline constexpr AudioObjectPropertyElement kAudioObjectPropertyElementMaster = 0;
inline constexpr AudioObjectPropertyElement kAudioObjectPropertyElementWildcard = 0xFFFFFFFF;

/// Hears of changed properties, on the platform's notification thread, one call at a time. What it throws is logged.
using AudioObjectPropertyListenerProc = OSStatus (*)(AudioObjectID object, uint32_t addressCount,
                                                     const AudioObjectPropertyAddress *addresses, void *clientData);

/// The byte size of a property's value. Wildcard scopes and elements match any. [any]
KX_EXPORT OSStatus AudioObjectGetPropertyDataSize(AudioObjectID object, const AudioObjectPropertyAddress *address,
                                                  uint32_t qualifierSize, const void *qualifier, uint32_t *size);

/// Copies a property's value: `size` is the room and comes back as the bytes copied; lists are cut to whole entries
/// that fit, texts that do not fit are refused. [any]
KX_EXPORT OSStatus AudioObjectGetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress *address,
                                              uint32_t qualifierSize, const void *qualifier, uint32_t *size,
                                              void *data);

/// Sets 'bsiz' of a device (clamped to what makes sense for it; 0 means the default), or 'slep' of the system object.
/// [any]
KX_EXPORT OSStatus AudioObjectSetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress *address,
                                              uint32_t qualifierSize, const void *qualifier, uint32_t size,
                                              const void *data);

/// Calls `listener` with `clientData` after each change of a property that `address` matches; changes of the system
/// that come in a burst are one, told 50 ms after the last of them, a second after the first at the latest. The same
/// three values twice count once. `clientData` is borrowed until the listener is removed. [any]
KX_EXPORT OSStatus AudioObjectAddPropertyListener(AudioObjectID object, const AudioObjectPropertyAddress *address,
                                                  AudioObjectPropertyListenerProc listener, void *clientData);

/// Ends a registration. When it returns no call of this registration is running or will come, unless it is called
/// from inside a listener. [any] [blocks]
KX_EXPORT OSStatus AudioObjectRemovePropertyListener(AudioObjectID object, const AudioObjectPropertyAddress *address,
                                                     AudioObjectPropertyListenerProc listener, void *clientData);
