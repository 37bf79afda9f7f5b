#include "KXFW/Platform/Hardware/Backends/PulseStream.h"

#include "KXFW/Platform/Hardware/Backends/StreamBuffer.h"

#include <algorithm>

namespace
{

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::microseconds kLongestHeldTime = 5s; ///< of a server whose word we take
constexpr auto kLongestHalt = 200ms;

} // namespace

kx::PulseStream::PulseStream(std::shared_ptr<PulseLoop> loop, pa_context *context, const std::string &sink,
                             const PulseFormat &format, uint32_t sliceFrames)
    : loop_(std::move(loop)), format_(format), sliceFrames_(sliceFrames), leastRoomFrames_(sliceFrames)
{
    stream_.reset(pulse().stream_new(context, "Playback", &format_.spec, &format_.map));
    if (!stream_) {
        loss_ = kAudioHardwareNotRunningError;
        return;
    }
    setCallbacks();
    const pa_buffer_attr buffer = wantedBuffer();
    const auto flags = static_cast<pa_stream_flags_t>(PA_STREAM_DONT_MOVE | PA_STREAM_ADJUST_LATENCY |
                                                      PA_STREAM_INTERPOLATE_TIMING | PA_STREAM_AUTO_TIMING_UPDATE);
    if (pulse().stream_connect_playback(stream_.get(), sink.c_str(), &buffer, flags, nullptr, nullptr) < 0) {
        clearCallbacks();
        stream_.reset();
        loss_ = kAudioHardwareNotRunningError;
    }
}

kx::PulseStream::~PulseStream()
{
    const PulseLoop::Lock lock(*loop_);
    if (!stream_)
        return;
    clearCallbacks();
    pulse().stream_disconnect(stream_.get()); // nobody waits for the answer
    stream_.reset();
}

pa_buffer_attr kx::PulseStream::wantedBuffer() const noexcept
{
    const auto frameBytes = static_cast<uint32_t>(pulse().frame_size(&format_.spec));
    pa_buffer_attr buffer{};
    buffer.maxlength = UINT32_MAX;
    buffer.tlength = bufferFrames(format_.spec.rate, sliceFrames_) * frameBytes;
    buffer.prebuf = sliceFrames_ * frameBytes; // the first slice is heard at once
    buffer.minreq = sliceFrames_ * frameBytes;
    buffer.fragsize = UINT32_MAX;
    return buffer;
}

void kx::PulseStream::setCallbacks()
{
    pulse().stream_set_state_callback(
        stream_.get(), [](pa_stream *, void *self) noexcept { static_cast<PulseStream *>(self)->heardState(); }, this);
    pulse().stream_set_write_callback(
        stream_.get(),
        [](pa_stream *, std::size_t, void *self) noexcept { static_cast<PulseStream *>(self)->changed_.raise(); },
        this);
    pulse().stream_set_underflow_callback(
        stream_.get(), [](pa_stream *, void *self) noexcept { static_cast<PulseStream *>(self)->heardUnderflow(); },
        this);
}

void kx::PulseStream::clearCallbacks() noexcept
{
    pulse().stream_set_state_callback(stream_.get(), nullptr, nullptr);
    pulse().stream_set_write_callback(stream_.get(), nullptr, nullptr);
    pulse().stream_set_underflow_callback(stream_.get(), nullptr, nullptr);
}

void kx::PulseStream::heardUnderflow() noexcept
{
    if (hasWritten_ && !isDraining_ && pulse().stream_is_suspended(stream_.get()) == 0)
        ++underruns_;
}

void kx::PulseStream::heardState() noexcept
{
    if (!PA_STREAM_IS_GOOD(pulse().stream_get_state(stream_.get()))) {
        // Afterwards the stream does not know its context any more.
        const pa_context *context = pulse().stream_get_context(stream_.get());
        const bool serverIsThere = context != nullptr && PA_CONTEXT_IS_GOOD(pulse().context_get_state(context));
        loss_ = serverIsThere ? kAudioHardwareBadDeviceError : kAudioHardwareNotRunningError;
    }
    changed_.raise();
}

OSStatus kx::PulseStream::waitUntilReady()
{
    OSStatus status = kAudioHardwareNotRunningError;
    changed_.waitUntil(Clock::now() + kLongestWait, [&] {
        const PulseLoop::Lock lock(*loop_);
        if (loss_ == noErr && pulse().stream_get_state(stream_.get()) != PA_STREAM_READY)
            return false;
        status = loss_;
        return true;
    });
    if (status != noErr)
        return status;
    const PulseLoop::Lock lock(*loop_);
    // Half of the buffer that the server granted: less than a slice where it granted little.
    if (const pa_buffer_attr *granted = pulse().stream_get_buffer_attr(stream_.get())) {
        const auto frames = granted->tlength / static_cast<uint32_t>(pulse().frame_size(&format_.spec));
        leastRoomFrames_ = std::clamp(frames / 2, 1u, sliceFrames_);
    }
    return noErr;
}

uint32_t kx::PulseStream::roomFrames() const noexcept
{
    if (pulse().stream_get_state(stream_.get()) != PA_STREAM_READY)
        return 0;
    const std::size_t bytes = pulse().stream_writable_size(stream_.get());
    if (bytes == static_cast<std::size_t>(-1))
        return 0;
    return static_cast<uint32_t>(std::min<std::size_t>(bytes / pulse().frame_size(&format_.spec), sliceFrames_));
}

kx::StatusOr<uint32_t> kx::PulseStream::waitForRoom()
{
    OSStatus status = noErr;
    uint32_t room = 0;
    changed_.waitUntil(Clock::now() + kLongestWait, [&] {
        if (isInterrupted_)
            return true;
        const PulseLoop::Lock lock(*loop_);
        status = loss_;
        if (status == noErr)
            room = roomFrames();
        return status != noErr || room >= leastRoomFrames_;
    });
    if (isInterrupted_)
        return 0u;
    if (status != noErr)
        return status;
    return room;
}

OSStatus kx::PulseStream::write(const void *interleaved, uint32_t frames)
{
    if (isInterrupted_ || frames == 0)
        return noErr;
    const PulseLoop::Lock lock(*loop_);
    if (loss_ != noErr)
        return loss_;
    const std::size_t bytes = frames * pulse().frame_size(&format_.spec);
    if (pulse().stream_write(stream_.get(), interleaved, bytes, nullptr, 0, PA_SEEK_RELATIVE) < 0)
        return kAudioHardwareUnspecifiedError;
    hasWritten_ = true;
    written_ += frames;
    noteHeard(); // a server that is lost cannot be asked
    return noErr;
}

std::optional<std::chrono::microseconds> kx::PulseStream::heldTime() const noexcept
{
    pa_usec_t latency = 0;
    int isNegative = 0;
    if (!stream_ || pulse().stream_get_latency(stream_.get(), &latency, &isNegative) < 0)
        return std::nullopt;
    return isNegative != 0 ? 0us : std::min(std::chrono::microseconds(latency), kLongestHeldTime);
}

uint32_t kx::PulseStream::latencyFrames() const noexcept
{
    const PulseLoop::Lock lock(*loop_);
    return static_cast<uint32_t>(std::chrono::duration<double>(heldTime().value_or(0us)).count() * format_.spec.rate);
}

uint64_t kx::PulseStream::heardFrames() const noexcept
{
    const PulseLoop::Lock lock(*loop_);
    noteHeard();
    return knownHeard_;
}

void kx::PulseStream::noteHeard() const noexcept
{
    const auto held = isHalted_ ? std::nullopt : heldTime();
    if (!held)
        return;
    const auto frames = static_cast<uint64_t>(std::chrono::duration<double>(*held).count() * format_.spec.rate);
    knownHeard_ = std::max(knownHeard_, written_ - std::min(frames, written_));
}

void kx::PulseStream::drain()
{
    Clock::time_point deadline;
    pa_operation *drain = nullptr;
    {
        const PulseLoop::Lock lock(*loop_);
        if (!hasWritten_ || loss_ != noErr)
            return;
        isDraining_ = true;
        isDrained_ = false;
        deadline = Clock::now() + heldTime().value_or(0us) + kLongestWait;
        drain = pulse().stream_drain(
            stream_.get(),
            [](pa_stream *, int, void *self) noexcept {
                static_cast<PulseStream *>(self)->isDrained_ = true;
                static_cast<PulseStream *>(self)->changed_.raise();
            },
            this);
    }
    changed_.waitUntil(deadline, [&] {
        const PulseLoop::Lock lock(*loop_);
        return isInterrupted_ || isDrained_ || drain == nullptr || loss_ != noErr;
    });
    const PulseLoop::Lock lock(*loop_);
    isDraining_ = false;
    if (drain == nullptr)
        return;
    pulse().operation_cancel(drain);
    pulse().operation_unref(drain);
}

/// A corked stream goes back by what the sink can still take back; what the sink has taken then will be heard.
void kx::PulseStream::halt()
{
    const auto deadline = Clock::now() + kLongestHalt;
    const auto raise = [](pa_stream *, int, void *self) noexcept {
        static_cast<PulseStream *>(self)->changed_.raise();
    };
    pa_operation *operation = nullptr;
    {
        const PulseLoop::Lock lock(*loop_);
        if (!hasWritten_ || isDrained_ || loss_ != noErr)
            return;
        operation = pulse().stream_cork(stream_.get(), 1, raise, this);
    }
    awaitAnswer(operation, deadline);
    {
        const PulseLoop::Lock lock(*loop_);
        operation = pulse().stream_update_timing_info(stream_.get(), raise, this);
    }
    const bool isAnswered = awaitAnswer(operation, deadline);
    const PulseLoop::Lock lock(*loop_);
    const pa_timing_info *timing =
        isAnswered && loss_ == noErr ? pulse().stream_get_timing_info(stream_.get()) : nullptr;
    if (timing && timing->read_index_corrupt == 0) {
        const auto taken =
            static_cast<uint64_t>(std::max<int64_t>(timing->read_index, 0)) / pulse().frame_size(&format_.spec);
        knownHeard_ = std::max(knownHeard_, std::min(taken, written_));
    }
    isHalted_ = true;
}

/// False at the deadline, or where there is no operation.
bool kx::PulseStream::awaitAnswer(pa_operation *operation, Clock::time_point deadline)
{
    if (operation == nullptr)
        return false;
    const auto isDone = [&] {
        const PulseLoop::Lock lock(*loop_);
        return pulse().operation_get_state(operation) != PA_OPERATION_RUNNING;
    };
    changed_.waitUntil(deadline, isDone);
    const PulseLoop::Lock lock(*loop_);
    const bool isAnswered = pulse().operation_get_state(operation) == PA_OPERATION_DONE;
    pulse().operation_cancel(operation);
    pulse().operation_unref(operation);
    return isAnswered;
}

void kx::PulseStream::interrupt() noexcept
{
    isInterrupted_ = true;
    changed_.raise();
}
