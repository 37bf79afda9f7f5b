#include "Tests/Support/MonitorRecorder.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <pulse/pulseaudio.h>
#include <stdexcept>

/// The connection and what came over it.
struct kx::test::MonitorRecorder::Recording {
    pa_threaded_mainloop *loop = nullptr;
    pa_context *context = nullptr;
    pa_stream *stream = nullptr;
    pa_sample_spec spec{};
    std::string source;

    mutable std::mutex lock; ///< guards what follows
    mutable std::condition_variable changed;
    std::vector<int16_t> samples;
    bool isRecording = false;
    bool hasFailed = false;

    ~Recording()
    {
        pa_threaded_mainloop_stop(loop); // from here on there are no callbacks
        pa_context_set_state_callback(context, nullptr, nullptr);
        if (stream != nullptr) {
            pa_stream_set_state_callback(stream, nullptr, nullptr);
            pa_stream_unref(stream);
        }
        pa_context_disconnect(context);
        pa_context_unref(context);
        pa_threaded_mainloop_free(loop);
    }

    void note(bool Recording::*what)
    {
        const std::lock_guard guard(lock);
        this->*what = true;
        changed.notify_all();
    }
    void openStream();
    void readAll();
};

void kx::test::MonitorRecorder::Recording::readAll()
{
    while (pa_stream_readable_size(stream) > 0) {
        const void *data = nullptr;
        std::size_t bytes = 0;
        if (pa_stream_peek(stream, &data, &bytes) < 0 || bytes == 0)
            return;
        {
            const std::lock_guard guard(lock);
            const std::size_t count = bytes / sizeof(int16_t);
            const auto *first = static_cast<const int16_t *>(data);
            if (first == nullptr) // a hole
                samples.insert(samples.end(), count, 0);
            else
                samples.insert(samples.end(), first, first + count);
            changed.notify_all();
        }
        pa_stream_drop(stream);
    }
}

void kx::test::MonitorRecorder::Recording::openStream()
{
    stream = pa_stream_new(context, "monitor", &spec, nullptr);
    if (stream == nullptr)
        return note(&Recording::hasFailed);
    pa_stream_set_state_callback(
        stream,
        [](pa_stream *each, void *self) {
            if (pa_stream_get_state(each) == PA_STREAM_READY)
                static_cast<Recording *>(self)->note(&Recording::isRecording);
            else if (!PA_STREAM_IS_GOOD(pa_stream_get_state(each)))
                static_cast<Recording *>(self)->note(&Recording::hasFailed);
        },
        this);
    pa_stream_set_read_callback(
        stream, [](pa_stream *, std::size_t, void *self) { static_cast<Recording *>(self)->readAll(); }, this);
    pa_buffer_attr attributes{};
    attributes.maxlength = UINT32_MAX;
    attributes.fragsize = 2048;
    // It would follow the default source to another monitor else.
    if (pa_stream_connect_record(stream, source.c_str(), &attributes, PA_STREAM_DONT_MOVE) < 0)
        note(&Recording::hasFailed);
}

kx::test::MonitorRecorder::MonitorRecorder(const std::string &sink, uint32_t rate, uint32_t channels)
    : recording_(std::make_unique<Recording>())
{
    Recording &recording = *recording_;
    recording.spec = {PA_SAMPLE_S16NE, rate, static_cast<uint8_t>(channels)};
    recording.source = sink + ".monitor";
    recording.loop = pa_threaded_mainloop_new();
    recording.context = pa_context_new(pa_threaded_mainloop_get_api(recording.loop), "recorder");
    pa_context_set_state_callback(
        recording.context,
        [](pa_context *context, void *self) {
            if (pa_context_get_state(context) == PA_CONTEXT_READY)
                static_cast<Recording *>(self)->openStream();
            else if (!PA_CONTEXT_IS_GOOD(pa_context_get_state(context)))
                static_cast<Recording *>(self)->note(&Recording::hasFailed);
        },
        &recording);
    pa_context_connect(recording.context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr);
    pa_threaded_mainloop_start(recording.loop);
    std::unique_lock guard(recording.lock);
    recording.changed.wait_for(guard, std::chrono::seconds(20),
                               [&] { return recording.isRecording || recording.hasFailed; });
    if (!recording.isRecording)
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
    const auto first = std::find_if(samples.begin(), samples.end(), isSound);
    const auto last = std::find_if(samples.rbegin(), samples.rend(), isSound).base();
    if (first == samples.end())
        return {};
    const auto index = [&](auto at) { return (at - samples.begin()); };
    const auto begin = index(first) / channels * channels;
    const auto end = (index(last) + channels - 1) / channels * channels;
    return {samples.begin() + begin, samples.begin() + end};
}
