#include "KXFW/Platform/AudioUnits/UnitInput.h"

#include "KXFW/Platform/AudioUnits/Unit.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <array>
#include <cstring>
#include <mutex>
#include <utility>

namespace kx
{

namespace
{

/// A callback may point a buffer at memory of its own, or fill it partly; afterwards the frames stand in `own`.
/// The list is the renderer's: whatever the callback did to it, it comes back as it was.
OSStatus settleBuffer(AudioBuffer &buffer, void *own, uint32_t bytes) noexcept
{
    const void *const filled = std::exchange(buffer.mData, own);
    const uint32_t size = std::exchange(buffer.mDataByteSize, bytes);
    if (!filled || size > bytes)
        return kAudioUnitErr_InvalidPropertyValue;
    if (filled != own)
        std::memmove(own, filled, size);
    std::memset(static_cast<std::byte *>(own) + size, 0, bytes - size);
    return noErr;
}

} // namespace

PriorityMutex &UnitInput::connections()
{
    // Never ended: a queue's thread may let go of a player while the process exits.
    static auto *const lock = new PriorityMutex;
    return *lock;
}

std::shared_ptr<Unit> UnitInput::setCallback(const AURenderCallbackStruct &callback)
{
    const std::lock_guard guard(connections());
    callback_ = callback;
    return std::exchange(source_, nullptr);
}

bool UnitInput::connectTo(std::shared_ptr<Unit> &source, const Unit &owner)
{
    const std::lock_guard guard(connections());
    if (source && (source.get() == &owner || source->input().hangsOnLocked(owner)))
        return false;
    callback_ = {};
    std::swap(source_, source);
    return true;
}

bool UnitInput::hangsOn(const Unit &unit) const
{
    const std::lock_guard guard(connections());
    return hangsOnLocked(unit);
}

std::shared_ptr<Unit> UnitInput::source() const
{
    const std::lock_guard guard(connections());
    return source_;
}

bool UnitInput::hangsOnLocked(const Unit &unit) const noexcept
{
    for (const Unit *at = source_.get(); at; at = at->input().source_.get())
        if (at == &unit)
            return true;
    return false;
}

OSStatus UnitInput::pull(const AudioTimeStamp &time, uint32_t frames, AudioBufferList &list) noexcept
{
    for (uint32_t i = 0; i < list.mNumberBuffers; ++i)
        list.mBuffers[i].mDataByteSize = frames * format_.mBytesPerFrame;
    if (source_)
        return pullSource(time, frames, list);
    return callback_.inputProc ? call(time, frames, list) : kAudioUnitErr_NoConnection;
}

OSStatus UnitInput::pullSource(const AudioTimeStamp &time, uint32_t frames, AudioBufferList &list) noexcept
{
    const uint32_t before = source_->input().discontinuities();
    const OSStatus status = source_->render(time, frames, list, &format_);
    if (source_->input().discontinuities() != before)
        ++discontinuities_;
    return status;
}

OSStatus UnitInput::call(const AudioTimeStamp &time, uint32_t frames, AudioBufferList &list) noexcept
{
    const uint32_t count = list.mNumberBuffers;
    std::array<void *, kMaximumChannels> own; // NOLINT: filled below as far as it is read
    for (uint32_t i = 0; i < count; ++i)
        own[i] = list.mBuffers[i].mData;

    OSStatus status = noErr;
    try {
        AudioUnitRenderActionFlags flags = 0;
        status = callback_.inputProc(callback_.inputProcRefCon, &flags, &time, 0, frames, &list);
        if ((flags & kAudioUnitRenderAction_Discontinuity) != 0)
            ++discontinuities_;
    } catch (...) {
        status = kAudioHardwareUnspecifiedError;
    }
    if (list.mNumberBuffers != count) {
        list.mNumberBuffers = count;
        status = kAudioUnitErr_InvalidPropertyValue;
    }
    for (uint32_t i = 0; i < count; ++i) {
        const OSStatus settled = settleBuffer(list.mBuffers[i], own[i], frames * format_.mBytesPerFrame);
        if (status == noErr)
            status = settled;
    }
    return status;
}

} // namespace kx
