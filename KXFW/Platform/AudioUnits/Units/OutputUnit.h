#pragma once

#include "KXFW/Platform/AudioUnits/Unit.h"
#include "KXFW/Platform/AudioUnits/Units/GainRamp.h"
#include "KXFW/Platform/AudioUnits/Units/OutputDevice.h"
#include "KXFW/Platform/AudioUnits/Units/OutputRun.h"
#include "KXFW/Platform/Foundation/Guarded.h"

#include <array>

namespace kx
{

/// The end of a chain: pulls its input on a render thread of its own and plays it to a device, at a volume.
///
/// Its stream format is 44,100 Hz stereo planar float whatever the device; each run (see OutputRun) converts to the
/// device's. Starts and stops are serialised by `runControl_`, which no render thread takes; the pointer to the run is
/// under `runLock_` for those who only look.
class OutputUnit final : public Unit, private OutputControl
{
public:
    OutputUnit(); ///< On the default output device, if there is one. [any]

    OSStatus uninitialize() override; ///< Stops first. [any] [blocks]
    void dispose() override;          ///< Stops first. [any] [render] [blocks]
    OutputControl *outputControl() noexcept override { return this; }

    /// The next slice at the volume of now; for the unit's renderer. [render]
    void applyVolume(AudioBufferList &slice, uint32_t frames) noexcept;

protected:
    StatusOr<std::unique_ptr<Renderer>> makeRenderer(const UnitFormats &formats) override;
    [[nodiscard]] double latencySeconds() const override;
    std::span<Parameter> parameters() noexcept override { return parameters_; }
    [[nodiscard]] std::span<const PropertyRow> ownProperties() const noexcept override;
    OSStatus setOwnProperty(AudioUnitPropertyID id, const void *data) override;
    OSStatus getOwnProperty(AudioUnitPropertyID id, void *data) override;

private:
    OSStatus start() override;
    OSStatus stop() override;
    OSStatus settle() override;

    [[nodiscard]] std::shared_ptr<OutputRun> run() const;
    std::shared_ptr<OutputRun> replaceRun(std::shared_ptr<OutputRun> run);
    void cutRun();
    [[nodiscard]] AudioObjectID currentDevice() const;
    [[nodiscard]] AudioTimeStamp heardTime() const;

    std::array<Parameter, 1> parameters_;
    Guarded<OutputDevice> device_;
    GainRamp ramp_; ///< under the render lock

    std::mutex runControl_;
    uint64_t underruns_ = 0; ///< of runs before; under runControl_ and runLock_
    double heardFrames_ = 0; ///< of the last run; the same
    mutable PriorityMutex runLock_;
    std::shared_ptr<OutputRun> run_;
};

} // namespace kx
