#include "KXFW/Platform/Hardware/Backends/CallbackStream.h"

#include "KXFW/Platform/Hardware/Backends/StreamBuffer.h"

#include <algorithm>
#include <cstring>

namespace
{

using namespace std::chrono_literals;

/// The largest portion that a sound server asks for at once, twice, at four times its rate.
constexpr uint32_t kLeastCapacity = 65536;
constexpr auto kLongestCallbackHalt = 200ms;

std::byte silentByte(const AudioStreamBasicDescription &format) noexcept
{
    const bool isUnsigned = (format.mFormatFlags & (kAudioFormatFlagIsFloat | kAudioFormatFlagIsSignedInteger)) == 0;
    return isUnsigned && format.mBitsPerChannel == 8 ? std::byte{0x80} : std::byte{0};
}

} // namespace

kx::CallbackStream::CallbackStream(const AudioStreamBasicDescription &format, uint32_t sliceFrames)
    : format_(format), sliceFrames_(std::max(sliceFrames, 1u)),
      capacity_(std::max(kLeastCapacity, 2 * bufferFrames(format.mSampleRate, sliceFrames_))),
      ring_(std::size_t{capacity_} * format.mBytesPerFrame), target_(bufferFrames(format.mSampleRate, sliceFrames_)),
      clock_(format.mSampleRate)
{
}

kx::StatusOr<uint32_t> kx::CallbackStream::waitForRoom()
{
    uint32_t room = 0;
    wake_.waitUntil(Clock::now() + kLongestWait, [&] {
        const uint64_t held = heldFrames();
        const uint32_t target = target_;
        room = held + sliceFrames_ <= target ? sliceFrames_ : 0;
        return room > 0 || hasEnded();
    });
    if (isInterrupted_)
        return 0u;
    if (const OSStatus loss = loss_; loss != noErr)
        return loss;
    return room;
}

OSStatus kx::CallbackStream::write(const void *interleaved, uint32_t frames)
{
    if (isInterrupted_ || frames == 0)
        return noErr;
    if (const OSStatus loss = loss_; loss != noErr)
        return loss;
    if (heldFrames() + frames > capacity_)
        return kAudioHardwareUnspecifiedError; // more than there was room for
    const uint64_t written = written_;
    copyIn(static_cast<const std::byte *>(interleaved), written, frames);
    written_ = written + frames;
    return noErr;
}

void kx::CallbackStream::copyIn(const std::byte *frames, uint64_t at, std::size_t count) noexcept
{
    const std::size_t size = format_.mBytesPerFrame;
    const auto first = static_cast<std::size_t>(at % capacity_);
    const std::size_t upToEnd = std::min(count, capacity_ - first);
    std::memcpy(ring_.data() + first * size, frames, upToEnd * size);
    std::memcpy(ring_.data(), frames + upToEnd * size, (count - upToEnd) * size);
}

void kx::CallbackStream::copyOut(std::byte *frames, uint64_t at, std::size_t count) const noexcept
{
    const std::size_t size = format_.mBytesPerFrame;
    const auto first = static_cast<std::size_t>(at % capacity_);
    const std::size_t upToEnd = std::min(count, capacity_ - first);
    std::memcpy(frames, ring_.data() + first * size, upToEnd * size);
    std::memcpy(frames + upToEnd * size, ring_.data(), (count - upToEnd) * size);
}

void kx::CallbackStream::take(std::span<std::byte> interleaved, Clock::time_point heardAt) noexcept
{
    ++passages_;
    const auto wanted = static_cast<uint32_t>(interleaved.size() / format_.mBytesPerFrame);
    const std::size_t count = takeable(wanted);
    const uint64_t taken = taken_;
    copyOut(interleaved.data(), taken, count);
    std::ranges::fill(interleaved.subspan(count * format_.mBytesPerFrame), silentByte(format_));
    if (count > 0)
        clock_.tell(heardAt, taken, taken + count);
    taken_ = taken + count;
    target_ = std::clamp(2 * wanted + sliceFrames_, target_.load(), capacity_);
    ++passages_;
    wake_.raise();
}

/// How many frames the callback may have, and whether it has run dry.
std::size_t kx::CallbackStream::takeable(uint32_t wanted) noexcept
{
    if (hasEnded() || isHalted_)
        return 0;
    const bool isLastPart = isDraining_; // before what is held: nothing is written behind it
    const uint64_t held = heldFrames();
    if (!isFlowing_)
        isFlowing_ = held > 0 && (isLastPart || held >= std::min(wanted, capacity_ - sliceFrames_));
    if (!isFlowing_)
        return 0;
    if (held < wanted) {
        isFlowing_ = false;
        underruns_ += isLastPart ? 0 : 1;
    }
    return static_cast<std::size_t>(std::min<uint64_t>(held, wanted));
}

uint64_t kx::CallbackStream::heardFrames() const noexcept
{
    return clock_.heardAt(Clock::now());
}

uint32_t kx::CallbackStream::latencyFrames() const noexcept
{
    const uint64_t heard = heardFrames(); // first: what is written only grows
    return static_cast<uint32_t>(written_ - heard);
}

void kx::CallbackStream::drain()
{
    isDraining_ = true;
    const auto latency = std::chrono::duration<double>(latencyFrames() / format_.mSampleRate);
    const auto deadline = Clock::now() + kLongestWait + std::chrono::duration_cast<Clock::duration>(latency);
    wake_.waitUntil(deadline, [&] { return hasEnded() || isHalted_ || heardFrames() == written_; });
    isDraining_ = false;
}

void kx::CallbackStream::halt()
{
    isHalted_ = true;
    const uint64_t passages = passages_;
    const uint64_t enough = passages + (passages % 2 == 0 ? 2 : 3); // one that is inside may not have seen it
    if (passages > 0)
        wake_.waitUntil(Clock::now() + kLongestCallbackHalt, [&] { return loss_ != noErr || passages_ >= enough; });
    if (loss_ == noErr)
        clock_.settle(taken_);
}

void kx::CallbackStream::interrupt() noexcept
{
    isInterrupted_ = true;
    wake_.raise();
}

void kx::CallbackStream::lose(OSStatus reason) noexcept
{
    OSStatus none = noErr;
    loss_.compare_exchange_strong(none, reason);
    wake_.raise();
}
