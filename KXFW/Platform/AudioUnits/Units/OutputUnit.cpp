#include "KXFW/Platform/AudioUnits/Units/OutputUnit.h"

#include "KXFW/Platform/AudioUnits/ComponentTable.h"
#include "KXFW/Platform/AudioUnits/RenderScope.h"
#include "KXFW/Platform/Foundation/MonotonicTime.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace kx
{

namespace
{

constexpr uint32_t kLongestSlice = 512;
constexpr uint32_t kGlobal = scopeBit(kAudioUnitScope_Global);

constexpr std::array kProperties{
    PropertyRow{kAudioOutputUnitProperty_CurrentDevice, kGlobal, sizeof(AudioObjectID), true, true},
    PropertyRow{kAudioOutputUnitProperty_IsRunning, kGlobal, sizeof(uint32_t), true, false},
    PropertyRow{kAudioOutputUnitProperty_Underruns, kGlobal, sizeof(uint64_t), true, false},
    PropertyRow{kAudioOutputUnitProperty_DeviceLatency, kGlobal, sizeof(uint32_t), true, false},
    PropertyRow{kAudioOutputUnitProperty_HeardTime, kGlobal, sizeof(AudioTimeStamp), true, false},
    PropertyRow{kAudioOutputUnitProperty_IsSounding, kGlobal, sizeof(uint32_t), true, false},
};

constexpr UnitShape kOutputShape{
    .formats = {planarFloat(kCanonicalSampleRate, 2), planarFloat(kCanonicalSampleRate, 2), kDefaultMaximumFrames},
    .hasOutputBus = false};

class SliceRenderer final : public Renderer
{
public:
    explicit SliceRenderer(OutputUnit &unit) : unit_(unit) {}

    OSStatus render(FrameSource &input, const AudioTimeStamp &time, uint32_t frames,
                    AudioBufferList &out) noexcept override
    {
        const OSStatus status = input.pull(time, frames, out);
        if (status == noErr)
            unit_.applyVolume(out, frames);
        return status;
    }

    void reset() noexcept override {}

private:
    OutputUnit &unit_;
};

} // namespace

OutputUnit::OutputUnit()
    : Unit(kOutputShape), parameters_{Parameter{kHALOutputParam_Volume, 0, 1, 1}}, device_(defaultDeviceForOutput())
{
}

StatusOr<std::unique_ptr<Renderer>> OutputUnit::makeRenderer(const UnitFormats &)
{
    return std::unique_ptr<Renderer>(std::make_unique<SliceRenderer>(*this));
}

void OutputUnit::applyVolume(AudioBufferList &slice, uint32_t frames) noexcept
{
    float *const planes[] = {static_cast<float *>(slice.mBuffers[0].mData),
                             static_cast<float *>((&slice.mBuffers[0])[1].mData)};
    ramp_.apply(parameters_[0].value, planes, 2, frames);
}

std::shared_ptr<OutputRun> OutputUnit::run() const
{
    const std::lock_guard guard(runLock_);
    return run_;
}

std::shared_ptr<OutputRun> OutputUnit::replaceRun(std::shared_ptr<OutputRun> run)
{
    const std::lock_guard guard(runLock_);
    return std::exchange(run_, std::move(run));
}

/// Ends what there is of a run, whatever its state. `runControl_` is held.
void OutputUnit::cutRun()
{
    const auto old = run();
    if (!old)
        return;
    old->cut();
    const uint64_t counted = old->underruns();
    const double heard = old->heardFrames();
    const std::lock_guard guard(runLock_);
    underruns_ = counted;
    heardFrames_ = heard;
    run_.reset();
}

OSStatus OutputUnit::start()
{
    if (RenderScope::depth() > 0) {
        const auto current = run();
        return current && current->isRunning() ? noErr : kAudioUnitErr_CannotDoInCurrentContext;
    }
    const std::lock_guard control(runControl_);
    if (isDisposed())
        return kAudioComponentErr_InstanceInvalidated;
    if (!isInitialized())
        return kAudioUnitErr_Uninitialized;
    if (const auto current = run(); current && current->isRunning())
        return noErr;
    cutRun(); // one that still drains, or has ended by itself
    {
        const std::lock_guard guard(renderLock_);
        ramp_.jumpTo(parameters_[0].value);
    }
    const auto self = std::shared_ptr<Unit>(shared_from_this());
    const auto made =
        std::make_shared<OutputRun>(self, device_.get(), std::min(formats().maximumFrames, kLongestSlice), underruns_);
    replaceRun(made);
    try {
        OutputRun::launch(made);
    } catch (...) {
        replaceRun(nullptr);
        throw;
    }
    return noErr;
}

OSStatus OutputUnit::stop()
{
    if (RenderScope::depth() > 0) { // inside a render of another unit: that one must not wait for this
        if (const auto current = run())
            current->end();
        return noErr;
    }
    const std::lock_guard control(runControl_);
    cutRun();
    return noErr;
}

/// A callback runs under the render lock: once that was free after the stop, it is over.
OSStatus OutputUnit::settle()
{
    if (RenderScope::depth() > 0)
        return noErr;
    const auto current = run();
    if (current && !current->isRunning())
        const std::lock_guard guard(renderLock_);
    return noErr;
}

OSStatus OutputUnit::uninitialize()
{
    if (const OSStatus status = stop(); status != noErr)
        return status;
    return Unit::uninitialize();
}

void OutputUnit::dispose()
{
    Unit::markDisposed(); // before the stop, so that no start comes after it
    stop();
    Unit::dispose();
}

double OutputUnit::latencySeconds() const
{
    const auto current = run();
    return current ? current->latencyFrames() / kCanonicalSampleRate : 0;
}

/// The number of now; of a device that is gone the one it had.
AudioObjectID OutputUnit::currentDevice() const
{
    const OutputDevice device = device_.get();
    const AudioObjectID present = numberOf(device);
    return present == kAudioObjectUnknown ? device.number : present;
}

AudioTimeStamp OutputUnit::heardTime() const
{
    std::shared_ptr<OutputRun> current;
    AudioTimeStamp time{};
    {
        const std::lock_guard guard(runLock_);
        current = run_;
        time.mSampleTime = heardFrames_;
    }
    if (current)
        time.mSampleTime = current->heardFrames();
    time.mHostTime = monotonicTime();
    time.mFlags = kAudioTimeStampSampleTimeValid | kAudioTimeStampHostTimeValid;
    return time;
}

std::span<const PropertyRow> OutputUnit::ownProperties() const noexcept
{
    return kProperties;
}

OSStatus OutputUnit::setOwnProperty(AudioUnitPropertyID id, const void *data)
{
    if (id != kAudioOutputUnitProperty_CurrentDevice)
        return kAudioUnitErr_PropertyNotWritable;
    AudioObjectID device = kAudioObjectUnknown;
    std::memcpy(&device, data, sizeof device);
    auto present = presentDevice(device);
    if (!present)
        return present.status();
    device_.set(*std::move(present));
    return noErr;
}

OSStatus OutputUnit::getOwnProperty(AudioUnitPropertyID id, void *data)
{
    const auto give = [&](const auto &value) {
        std::memcpy(data, &value, sizeof value);
        return noErr;
    };
    std::shared_ptr<OutputRun> current;
    uint64_t before = 0;
    {
        const std::lock_guard guard(runLock_);
        current = run_;
        before = underruns_;
    }
    switch (id) {
    case kAudioOutputUnitProperty_CurrentDevice:
        return give(currentDevice());
    case kAudioOutputUnitProperty_IsRunning:
        return give(static_cast<uint32_t>(current && current->isRunning()));
    case kAudioOutputUnitProperty_Underruns:
        return give(current ? current->underruns() : before);
    case kAudioOutputUnitProperty_DeviceLatency:
        return give(current ? current->latencyFrames() : uint32_t{0});
    case kAudioOutputUnitProperty_HeardTime:
        return give(heardTime());
    case kAudioOutputUnitProperty_IsSounding:
        return give(static_cast<uint32_t>(current && !current->isOver()));
    default:
        return kAudioUnitErr_InvalidProperty;
    }
}

std::shared_ptr<Unit> makeOutputUnit()
{
    return std::make_shared<OutputUnit>();
}

} // namespace kx
