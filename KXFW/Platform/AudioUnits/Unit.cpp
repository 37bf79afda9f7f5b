#include "KXFW/Platform/AudioUnits/Unit.h"

#include "KXFW/Platform/AudioUnits/RenderScope.h"
#include "KXFW/Platform/AudioUnits/UnitRegistry.h"
#include "KXFW/Platform/Conversion/SampleFormat.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <utility>

namespace kx
{

namespace
{

constexpr uint32_t kLargestMaximumFrames = 65536;

} // namespace

Unit::Unit(const UnitShape &shape) : shape_(shape), sides_{shape.formats}
{
    input_.setFormat(shape.formats.input);
}

OSStatus Unit::initialize()
{
    const std::lock_guard control(control_);
    if (isDisposed())
        return kAudioComponentErr_InstanceInvalidated;
    return initialized_ ? noErr : putInPlace(sides_, true);
}

OSStatus Unit::uninitialize()
{
    const std::lock_guard control(control_);
    return putInPlace(sides_, false);
}

OSStatus Unit::reset()
{
    const std::lock_guard guard(renderLock_);
    if (renderer_)
        renderer_->reset();
    return noErr;
}

void Unit::dispose()
{
    markDisposed();
    if (RenderScope::depth() > 0)
        return;
    std::shared_ptr<Unit> source; // let go last, with no lock held
    const std::lock_guard control(control_);
    putInPlace(sides_, false);
    const std::lock_guard guard(renderLock_);
    source = input_.setCallback({});
}

/// Makes what rendering in `wanted` takes, and swaps it in between two renders; what was there is freed after that.
OSStatus Unit::putInPlace(const Sides &wanted, bool initialized, History history)
{
    std::unique_ptr<Renderer> renderer;
    std::unique_ptr<BufferList> memory;
    const UnitFormats &formats = wanted.formats;
    if (initialized) {
        auto made = makeRenderer(formats);
        if (!made)
            return made.status();
        renderer = *std::move(made);
        memory = std::make_unique<BufferList>(bufferCount(formats.output), channelsPerBuffer(formats.output),
                                              formats.maximumFrames * formats.output.mBytesPerFrame);
    }
    const std::lock_guard guard(renderLock_);
    const std::lock_guard values(values_);
    sides_ = wanted;
    input_.setFormat(formats.input);
    std::swap(renderer_, renderer);
    std::swap(memory_, memory);
    initialized_ = initialized;
    if (renderer_)
        renderer_->takePlace(history == History::Kept ? renderer.get() : nullptr);
    return noErr;
}

Unit::Sides Unit::sides() const
{
    const std::lock_guard values(values_);
    return sides_;
}

Unit::Side Unit::sideOf(AudioUnitScope scope) const noexcept
{
    return scope == kAudioUnitScope_Output ? Side::Output : Side::Input;
}

bool Unit::settable(Side side) const noexcept
{
    return side == Side::Input ? shape_.inputSettable : shape_.outputSettable;
}

OSStatus Unit::setFormat(Side side, const AudioStreamBasicDescription &format, bool byUser)
{
    const std::lock_guard control(control_);
    Sides wanted = sides_;
    auto &place = side == Side::Input ? wanted.formats.input : wanted.formats.output;
    if (!settable(side))
        return sameFormat(place, format) ? noErr : kAudioUnitErr_FormatNotSupported;
    if (!isConvertible(format))
        return kAudioUnitErr_FormatNotSupported;
    place = format;
    if (byUser)
        (side == Side::Input ? wanted.inputSet : wanted.outputSet) = true;
    return putInPlace(wanted, initialized_);
}

OSStatus Unit::setRate(Side side, double rate)
{
    const Sides now = sides();
    auto format = side == Side::Input ? now.formats.input : now.formats.output;
    format.mSampleRate = rate;
    return setFormat(side, format, true);
}

OSStatus Unit::setMaximumFrames(uint32_t frames)
{
    if (frames == 0 || frames > kLargestMaximumFrames)
        return kAudioUnitErr_InvalidPropertyValue;
    const std::lock_guard control(control_);
    Sides wanted = sides_;
    wanted.formats.maximumFrames = frames;
    return putInPlace(wanted, initialized_, History::Kept);
}

OSStatus Unit::setCallback(const AURenderCallbackStruct &callback)
{
    std::shared_ptr<Unit> before;
    const std::lock_guard control(control_);
    const std::lock_guard guard(renderLock_);
    before = input_.setCallback(callback);
    return noErr;
}

OSStatus Unit::makeConnection(const AudioUnitConnection &connection)
{
    if (connection.sourceOutputNumber != 0 || connection.destInputNumber != 0)
        return kAudioUnitErr_InvalidElement;
    if (!connection.sourceAudioUnit)
        return setCallback({});
    std::shared_ptr<Unit> source = UnitRegistry::find(connection.sourceAudioUnit);
    if (!source)
        return kAudioComponentErr_InstanceInvalidated;
    if (!source->hasOutputBus() || source.get() == this || source->input_.hangsOn(*this))
        return kAudioUnitErr_InvalidPropertyValue;
    if (const OSStatus status = agreeWith(*source); status != noErr)
        return status;

    const std::lock_guard control(control_);
    if (isDisposed())
        return kAudioComponentErr_InstanceInvalidated;
    const std::lock_guard guard(renderLock_);
    return input_.connectTo(source, *this) ? noErr : kAudioUnitErr_InvalidPropertyValue;
}

/// Gives both ends of a connection one format. The side that the user set, or that is fixed, wins; where neither is
/// bound, the source's does.
OSStatus Unit::agreeWith(Unit &source)
{
    const Sides from = source.sides();
    const Sides to = sides();
    if (sameFormat(from.formats.output, to.formats.input))
        return noErr;
    if (source.shape_.outputSettable && !from.outputSet && (!shape_.inputSettable || to.inputSet))
        return source.setFormat(Side::Output, to.formats.input, false);
    if (shape_.inputSettable && !to.inputSet)
        return setFormat(Side::Input, from.formats.output, false);
    return kAudioUnitErr_FormatNotSupported;
}

OSStatus Unit::checkList(uint32_t frames, AudioBufferList &list, const AudioStreamBasicDescription *expected) noexcept
{
    const AudioStreamBasicDescription &format = sides_.formats.output;
    if (frames > sides_.formats.maximumFrames)
        return kAudioUnitErr_TooManyFramesToProcess;
    if (list.mNumberBuffers != bufferCount(format) || (expected && !sameFormat(*expected, format)))
        return kAudioUnitErr_FormatNotSupported;
    const uint32_t bytes = frames * format.mBytesPerFrame;
    for (uint32_t i = 0; i < list.mNumberBuffers; ++i)
        if (list.mBuffers[i].mData && list.mBuffers[i].mDataByteSize < bytes)
            return kAudioUnitErr_InvalidPropertyValue;
    for (uint32_t i = 0; i < list.mNumberBuffers; ++i) {
        AudioBuffer &buffer = list.mBuffers[i];
        buffer.mNumberChannels = channelsPerBuffer(format);
        buffer.mDataByteSize = bytes;
        if (!buffer.mData)
            buffer.mData = memory_->data(i);
    }
    return noErr;
}

OSStatus Unit::render(const AudioTimeStamp &time, uint32_t frames, AudioBufferList &list,
                      const AudioStreamBasicDescription *expected) noexcept
{
    if (isDisposed())
        return kAudioUnitErr_NoConnection;
    if (renderLock_.heldByMe())
        return kAudioUnitErr_CannotDoInCurrentContext;
    const std::lock_guard guard(renderLock_);
    const RenderScope scope;
    if (isDisposed())
        return kAudioUnitErr_NoConnection;
    if (!renderer_)
        return kAudioUnitErr_Uninitialized;
    OSStatus status = checkList(frames, list, expected);
    if (status != noErr || frames == 0)
        return status;
    status = renderer_->render(input_, time, frames, list);
    if (status != noErr)
        silence(list);
    return status;
}

} // namespace kx
