/// @file
/// Audio units: components found by description, instances with properties and parameters, chained by connections and
/// pulled from the end.
///
/// Every call gives a status, kAudioComponentErr_InstanceInvalidated for a handle that names no living unit. A unit
/// guards its own render: changing a property, initialising, resetting or disposing of it waits for a render that is
/// under way. From inside a render callback only reading, parameters, stopping and disposing are possible; the rest,
/// and rendering a unit that this thread is rendering already, gives kAudioUnitErr_CannotDoInCurrentContext.
///
/// The formats between units default to 44,100 Hz stereo planar float. A converter's side that was not set by hand
/// takes the format of what it is connected to; two ends that are bound to different formats are refused.
#pragma once

#include "KXFW/Platform/Foundation/AudioTypes.h"
#include "KXFW/Platform/Foundation/Export.h"
#include "KXFW/Platform/Foundation/Status.h"

#include <memory>

using AudioComponent = const struct OpaqueAudioComponent *; ///< lives as long as the process
using AudioUnit = struct OpaqueAudioUnit *;                 ///< a handle; ended by AudioComponentInstanceDispose
using AudioUnitPropertyID = uint32_t;
using AudioUnitParameterID = uint32_t;
using AudioUnitScope = uint32_t;
using AudioUnitElement = uint32_t;
using AudioUnitRenderActionFlags = uint32_t;

/// What to look for; a type, subtype or manufacturer of 0 matches any. Flags and mask are not used.
struct AudioComponentDescription {
    FourCharCode componentType;
    FourCharCode componentSubType;
    FourCharCode componentManufacturer;
    uint32_t componentFlags;
    uint32_t componentFlagsMask;
};

inline constexpr FourCharCode kAudioUnitType_Output = kx::fourCharCode("auou");
inline constexpr FourCharCode kAudioUnitType_FormatConverter = kx::fourCharCode("aufc");
inline constexpr FourCharCode kAudioUnitSubType_DefaultOutput = kx::fourCharCode("def ");
inline constexpr FourCharCode kAudioUnitSubType_TimePitch = kx::fourCharCode("tpch");
inline constexpr FourCharCode kAudioUnitSubType_AUConverter = kx::fourCharCode("conv");
/// The manufacturer code of the units that come with the platform.
inline constexpr FourCharCode kAudioUnitManufacturer_Platform = kx::fourCharCode("appl");

enum : AudioUnitScope { kAudioUnitScope_Global = 0, kAudioUnitScope_Input = 1, kAudioUnitScope_Output = 2 };

enum : AudioUnitPropertyID {
    kAudioUnitProperty_MakeConnection = 1, ///< AudioUnitConnection; input scope; a null source disconnects
    kAudioUnitProperty_SampleRate = 2,     ///< double
    kAudioUnitProperty_StreamFormat = 8,   ///< AudioStreamBasicDescription
    kAudioUnitProperty_Latency = 12,       ///< double, seconds; read only
    /// uint32_t; larger renders are refused; 4096 at first. What an initialised unit holds stays.
    kAudioUnitProperty_MaximumFramesPerSlice = 14,
    kAudioUnitProperty_SetRenderCallback = 23, ///< AURenderCallbackStruct; input scope
    /// uint32_t, read only: frames drawn from the chain's source that are not played when the slice under way is done,
    /// held in this unit and those connected before it; one that is played in part counts. Fit for a render callback of
    /// the chain.
    kAudioUnitProperty_HeldFrames = 2800,
    /// double, read only: input frames drawn for each frame given, by this unit and those connected before it.
    kAudioUnitProperty_DrawRate = 2801,
    /// AudioObjectID of a present device, or 0: no device, the unit waits in silence. A new unit is on the default
    /// output device. Set while the unit is started it takes effect at the next start. A number that no device has is
    /// refused with kAudioHardwareBadDeviceError, a device that only records with kAudioHardwareIllegalOperationError.
    kAudioOutputUnitProperty_CurrentDevice = 2000,
    kAudioOutputUnitProperty_IsRunning = 2001,     ///< uint32_t; read only: started and not stopped
    kAudioOutputUnitProperty_Underruns = 2900,     ///< uint64_t; read only: since the unit was made
    kAudioOutputUnitProperty_DeviceLatency = 2901, ///< uint32_t, frames of 44,100 Hz; read only
    /// AudioTimeStamp, read only: what is being heard, the device's latency taken off. mSampleTime counts the frames of
    /// 44,100 Hz pulled since the start, as the time stamps of the callbacks do; mHostTime is now, in nanoseconds of
    /// the monotonic clock. After a stop it stays at what was heard last.
    kAudioOutputUnitProperty_HeardTime = 2902,
    /// uint32_t; read only: running, or stopped from inside its callback and not yet played out by the device.
    kAudioOutputUnitProperty_IsSounding = 2903,
};

enum : AudioUnitParameterID {
    kHALOutputParam_Volume = 14, ///< linear gain, limited to 0..1; not a number is refused; 1 at first
    // Of the time-pitch unit; other values are refused and change nothing. They take effect with the next slice.
    kTimePitchParam_Rate = 0,  ///< source frames played for each frame given, 0.25 to 4; 1 at first
    kTimePitchParam_Pitch = 1, ///< cents, -2400 to 2400; 0 at first
};

enum : AudioUnitRenderActionFlags {
    /// Set by a render callback: its frames do not go on from those that it gave before. A unit that looks ahead lets
    /// go
    /// of what it holds and cross-fades to them at once.
    kAudioUnitRenderAction_Discontinuity = 1U << 16,
};

/// Fills `data` with `frames` frames. Runs on the thread that pulls, for an output unit its render thread: it must not
/// allocate, free, wait, log or throw; it may stop the output unit that called it, read atomics and enter a
/// kx::SerialQueue that is held for short times only. A status other than noErr makes the slice silent.
using AURenderCallback = OSStatus (*)(void *reference, AudioUnitRenderActionFlags *flags, const AudioTimeStamp *time,
                                      uint32_t bus, uint32_t frames, AudioBufferList *data);

struct AURenderCallbackStruct {
    AURenderCallback inputProc;
    void *inputProcRefCon; ///< borrowed until the callback is replaced or the unit disposed of
};

struct AudioUnitConnection {
    AudioUnit sourceAudioUnit; ///< null disconnects
    uint32_t sourceOutputNumber;
    uint32_t destInputNumber;
};

/// The next component after `after` (null: from the beginning) that matches, or null. [any]
KX_EXPORT AudioComponent AudioComponentFindNext(AudioComponent after, const AudioComponentDescription *description);
KX_EXPORT OSStatus AudioComponentInstanceNew(AudioComponent component, AudioUnit *unit); ///< [any]
/// Stops and ends the unit; units connected to it find no source from then on. Safe from inside its own callback, where
/// it takes effect after the slice. [any] [blocks]
KX_EXPORT OSStatus AudioComponentInstanceDispose(AudioUnit unit);

/// Keeps a unit from ending: `AudioComponentInstanceRelease` takes effect when the last hold has gone. Null for a unit
/// that has ended. [any]
KX_EXPORT std::shared_ptr<void> AudioUnitHold(AudioUnit unit);
/// Ends the unit as AudioComponentInstanceDispose does, once nobody holds it. [any] [blocks]
KX_EXPORT OSStatus AudioComponentInstanceRelease(AudioUnit unit);

/// Makes the unit ready to render: buffers are made here, none later. Doing it twice is no error. [any] [blocks]
KX_EXPORT OSStatus AudioUnitInitialize(AudioUnit unit);
KX_EXPORT OSStatus AudioUnitUninitialize(AudioUnit unit); ///< Doing it twice is no error. [any] [blocks]

/// Sets a property, before or after initialising; an initialised unit is made ready for the new value at once.
/// [any] [blocks]
KX_EXPORT OSStatus AudioUnitSetProperty(AudioUnit unit, AudioUnitPropertyID property, AudioUnitScope scope,
                                        AudioUnitElement element, const void *data, uint32_t size);
KX_EXPORT OSStatus AudioUnitGetProperty(AudioUnit unit, AudioUnitPropertyID property, AudioUnitScope scope,
                                        AudioUnitElement element, void *data, uint32_t *size); ///< [any]
KX_EXPORT OSStatus AudioUnitSetParameter(AudioUnit unit, AudioUnitParameterID parameter, AudioUnitScope scope,
                                         AudioUnitElement element, float value, uint32_t bufferOffset); ///< [any]
KX_EXPORT OSStatus AudioUnitGetParameter(AudioUnit unit, AudioUnitParameterID parameter, AudioUnitScope scope,
                                         AudioUnitElement element, float *value); ///< [any]

/// Forgets what the unit holds of earlier input; formats, connections and parameters stay. [any] [blocks]
KX_EXPORT OSStatus AudioUnitReset(AudioUnit unit, AudioUnitScope scope, AudioUnitElement element);

/// Pulls `frames` frames out of output `bus` into `data`, whose buffers must match the output stream format. Where a
/// buffer's mData is null the unit's own memory is put there, valid until the next render. [any] [render]
KX_EXPORT OSStatus AudioUnitRender(AudioUnit unit, AudioUnitRenderActionFlags *flags, const AudioTimeStamp *time,
                                   uint32_t bus, uint32_t frames, AudioBufferList *data);

/// Opens the device's stream and starts the render thread; it pulls the input until stopped. Started already: no
/// error. Without a device, or while the device is gone, be it at the start or later, the unit waits in silence and
/// pulls nothing; it tries to open the same device again every 0.5 to 5 seconds. Waits a second at most, and for the
/// end of a run that drains, which it cuts. [any] [blocks]
KX_EXPORT OSStatus AudioOutputUnitStart(AudioUnit unit);

/// Stops. From any thread but the render thread it cuts what was not heard, and no callback runs after it returns.
/// From inside the callback it returns at once, takes no lock, and concerns this run only: the slice and what the
/// device holds are still heard. Stopped already: no error, but a run that ends itself is cut. [any] [render] [blocks]
KX_EXPORT OSStatus AudioOutputUnitStop(AudioUnit unit);

/// Returns when no callback of a run that was stopped from inside its callback is running any more; what the device
/// holds is not cut. From the render thread, or while the unit is running, it returns at once. [any] [blocks]
KX_EXPORT OSStatus AudioOutputUnitSettle(AudioUnit unit);
