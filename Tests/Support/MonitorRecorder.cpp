#include "Tests/Support/MonitorRecorder.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <pulse/mainloop.h>
#include <pulse/pulseaudio.h>
#include <stdexcept>
#include <thread>

namespace
{

template <auto Free> struct FreeWith {
    template <class T> void operator()(T *object) const noexcept { Free(object); }
};

} // namespace

/// The connection, on a thread of its own, and what came over it.
struct kx::test::MonitorRecorder::Recording {
    std::mutex lock; ///< guards what follows
    std::condition_variable changed;
    std::vector<int16_t> samples;
    enum class State { Opening, Running, Ended } state = State::Opening;

    std::atomic<bool> isEnding{false};
    const std::unique_ptr<pa_mainloop, FreeWith<pa_mainloop_free>> loop{pa_mainloop_new()};
    std::thread thread;

    ~Recording()
    {
        isEnding = true;
        pa_mainloop_wakeup(loop.get());
        thread.join();
    }

    void enter(State next)
    {
        const std::lock_guard guard(lock);
        state = next;
        changed.notify_all();
    }
    void run(const std::string &source, const pa_sample_spec &spec);
    void readAll(pa_stream *stream);
};

void kx::test::MonitorRecorder::Recording::run(const std::string &source, const pa_sample_spec &spec)
{
    const std::unique_ptr<pa_context, FreeWith<pa_context_unref>> context(
        pa_context_new(pa_mainloop_get_api(loop.get()), "recorder"));
    std::unique_ptr<pa_stream, FreeWith<pa_stream_unref>> stream;
    pa_buffer_attr attributes{};
    attributes.maxlength = UINT32_MAX;
    attributes.fragsize = 2048;
    pa_context_connect(context.get(), nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr);
    while (!isEnding && PA_CONTEXT_IS_GOOD(pa_context_get_state(context.get())) &&
           (!stream || PA_STREAM_IS_GOOD(pa_stream_get_state(stream.get())))) {
        pa_mainloop_iterate(loop.get(), 1, nullptr);
        if (stream && pa_stream_get_state(stream.get()) == PA_STREAM_READY)
            readAll(stream.get());
        if (stream || pa_context_get_state(context.get()) != PA_CONTEXT_READY)
            continue;
        stream.reset(pa_stream_new(context.get(), "monitor", &spec, nullptr));
        // It would follow the default source to another monitor else.
        pa_stream_connect_record(stream.get(), source.c_str(), &attributes, PA_STREAM_DONT_MOVE);
    }
    pa_context_disconnect(context.get());
    enter(State::Ended);
}

void kx::test::MonitorRecorder::Recording::readAll(pa_stream *stream)
{
    enter(State::Running);
    const void *data = nullptr;
    std::size_t bytes = 0;
    while (pa_stream_peek(stream, &data, &bytes) >= 0 && bytes > 0) {
        const std::lock_guard guard(lock);
        const auto *first = static_cast<const int16_t *>(data);
        const std::size_t before = samples.size();
        samples.resize(before + bytes / sizeof(int16_t));
        if (first != nullptr) // else it is a hole
            std::copy_n(first, samples.size() - before, samples.data() + before);
        changed.notify_all();
        pa_stream_drop(stream);
    }
}

kx::test::MonitorRecorder::MonitorRecorder(const std::string &sink, uint32_t rate, uint32_t channels)
    : recording_(std::make_unique<Recording>())
{
    const pa_sample_spec spec{PA_SAMPLE_S16NE, rate, static_cast<uint8_t>(channels)};
    recording_->thread = std::thread(&Recording::run, recording_.get(), sink + ".monitor", spec);
    std::unique_lock guard(recording_->lock);
    recording_->changed.wait_for(guard, std::chrono::seconds(20),
                                 [&] { return recording_->state != Recording::State::Opening; });
    if (recording_->state != Recording::State::Running)
        throw std::runtime_error("MonitorRecorder: no monitor of " + sink);
}

kx::test::MonitorRecorder::~MonitorRecorder() = default;

std::vector<int16_t> kx::test::MonitorRecorder::samples() const
{
    const std::lock_guard guard(recording_->lock);
    return recording_->samples;
}

bool kx::test::MonitorRecorder::waitUntil(const std::function<bool(const std::vector<int16_t> &)> &condition,
                                          std::chrono::seconds deadline) const
{
    std::unique_lock guard(recording_->lock);
    return recording_->changed.wait_for(guard, deadline, [&] { return condition(recording_->samples); });
}

std::vector<int16_t> kx::test::withoutSilence(const std::vector<int16_t> &samples, uint32_t channels)
{
    const auto isSound = [](int16_t sample) { return sample != 0; };
    const auto first = std::ranges::find_if(samples, isSound) - samples.begin();
    const auto end = std::find_if(samples.rbegin(), samples.rend(), isSound).base() - samples.begin();
    if (end == 0)
        return {};
    return {samples.begin() + first / channels * channels,
            samples.begin() + (end + channels - 1) / channels * channels};
}
