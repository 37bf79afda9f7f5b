#include "KXFW/Platform/Hardware/Backends/PipeWireStream.h"

#include "KXFW/Platform/Hardware/Backends/StreamBuffer.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <spa/param/audio/format-utils.h>
#include <utility>

kx::PipeWireStream::PipeWireStream(std::shared_ptr<PipeWireLoop> loop, pw_core *core, std::string sink,
                                   const PipeWireFormat &format, uint32_t sliceFrames)
    : CallbackStream(format.description, sliceFrames), loop_(std::move(loop)), sink_(std::move(sink)),
      usualFrames_(sliceFrames)
{
    static const pw_stream_events events = [] {
        pw_stream_events called{};
        called.version = PW_VERSION_STREAM_EVENTS;
        called.destroy = [](void *self) noexcept { static_cast<PipeWireStream *>(self)->heardEnd(); };
        called.state_changed = [](void *self, pw_stream_state, pw_stream_state state, const char *) noexcept {
            static_cast<PipeWireStream *>(self)->heardState(state);
        };
        called.process = [](void *self) noexcept { static_cast<PipeWireStream *>(self)->process(); };
        return called;
    }();
    loop_->add(this);
    stream_ = pipeWire().stream_new(core, "Playback", properties(sliceFrames));
    if (stream_ == nullptr) {
        hasEnded_ = true;
        loseAs(kAudioHardwareNotRunningError);
        return;
    }
    pipeWire().stream_add_listener(stream_, &hook_, &events, this);
    if (connect(format) < 0)
        loseAs(kAudioHardwareNotRunningError);
}

kx::PipeWireStream::~PipeWireStream()
{
    const PipeWireLoop::Lock lock(*loop_);
    loop_->remove(this);
    if (hasEnded_)
        return;
    spa_hook_remove(&hook_);
    pipeWire().stream_destroy(stream_); // waits until no callback runs, for nothing else
}

/// The connection takes its streams with it. The process callback may run until this object goes.
void kx::PipeWireStream::heardEnd()
{
    spa_hook_remove(&hook_);
    hasEnded_ = true;
    loseAs(kAudioHardwareNotRunningError);
}

pw_properties *kx::PipeWireStream::properties(uint32_t sliceFrames) const
{
    const std::string latency =
        std::to_string(sliceFrames) + "/" + std::to_string(static_cast<uint32_t>(format().mSampleRate));
    const std::array items{spa_dict_item{PW_KEY_MEDIA_TYPE, "Audio"},
                           spa_dict_item{PW_KEY_MEDIA_CATEGORY, "Playback"},
                           spa_dict_item{PW_KEY_APP_NAME, program_invocation_short_name},
                           spa_dict_item{PW_KEY_NODE_NAME, program_invocation_short_name},
                           spa_dict_item{PW_KEY_NODE_LATENCY, latency.c_str()},
                           spa_dict_item{PW_KEY_TARGET_OBJECT, sink_.c_str()}};
    const spa_dict all{0, static_cast<uint32_t>(items.size()), items.data()};
    return pipeWire().properties_new_dict(&all);
}

int kx::PipeWireStream::connect(const PipeWireFormat &format)
{
    std::array<uint8_t, 2048> memory; // NOLINT(cppcoreguidelines-pro-type-member-init): filled below
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory.data(), static_cast<uint32_t>(memory.size()));
    spa_audio_info_raw raw = format.raw;
    const spa_pod *parameters[] = {spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &raw)};
    const auto flags = static_cast<pw_stream_flags>(PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS |
                                                    PW_STREAM_FLAG_RT_PROCESS | PW_STREAM_FLAG_DONT_RECONNECT);
    return pipeWire().stream_connect(stream_, PW_DIRECTION_OUTPUT, PW_ID_ANY, flags, parameters, 1);
}

void kx::PipeWireStream::loseAs(OSStatus reason)
{
    if (loss_ == noErr)
        loss_ = reason;
    lose(reason);
    changed_.raise();
}

void kx::PipeWireStream::heardState(pw_stream_state state)
{
    isReady_ = state == PW_STREAM_STATE_PAUSED || state == PW_STREAM_STATE_STREAMING;
    // The backend has told before where it was the server that went.
    if (state == PW_STREAM_STATE_ERROR || state == PW_STREAM_STATE_UNCONNECTED)
        loseAs(kAudioHardwareBadDeviceError);
    changed_.raise();
}

OSStatus kx::PipeWireStream::waitUntilReady()
{
    OSStatus status = kAudioHardwareNotRunningError;
    changed_.waitUntil(Clock::now() + kLongestWait, [&] {
        const PipeWireLoop::Lock lock(*loop_);
        if (loss_ == noErr && !isReady_)
            return false;
        status = loss_;
        return true;
    });
    return status;
}

void kx::PipeWireStream::process() noexcept
{
    pw_buffer *const buffer = pipeWire().stream_dequeue_buffer(stream_);
    if (buffer == nullptr)
        return;
    spa_data &data = buffer->buffer->datas[0];
    const uint32_t frameBytes = format().mBytesPerFrame;
    uint32_t frames = data.data == nullptr ? 0 : data.maxsize / frameBytes;
    frames =
        static_cast<uint32_t>(std::min<uint64_t>(frames, buffer->requested == 0 ? usualFrames_ : buffer->requested));
    if (frames > 0)
        take({static_cast<std::byte *>(data.data), std::size_t{frames} * frameBytes}, timeHeard());
    data.chunk->offset = 0;
    data.chunk->stride = static_cast<int32_t>(frameBytes);
    data.chunk->size = frames * frameBytes;
    pipeWire().stream_queue_buffer(stream_, buffer);
}

/// Of the frame that is taken next: behind what the converter holds, after the way through the graph and the device.
kx::CallbackStream::Clock::time_point kx::PipeWireStream::timeHeard() const noexcept
{
    pw_time time{};
    if (pipeWire().stream_get_time_n(stream_, &time, sizeof time) < 0 || time.rate.denom == 0)
        return Clock::now();
    const double delay = static_cast<double>(time.delay) * time.rate.num / time.rate.denom +
                         static_cast<double>(time.buffered) / format().mSampleRate;
    const auto wait = std::clamp(std::chrono::duration<double>(delay), std::chrono::duration<double>(0),
                                 std::chrono::duration<double>(kLongestWait));
    return Clock::time_point(std::chrono::nanoseconds(time.now)) + std::chrono::duration_cast<Clock::duration>(wait);
}
