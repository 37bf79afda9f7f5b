#pragma once

#include "KXFW/Platform/Hardware/Backends/LoadedFunction.h"

#include <pulse/pulseaudio.h>

namespace kx
{

// clang-format off
/// The functions of libpulse that are used, without their prefix.
#define KX_PULSE_FUNCTIONS(X) \
    X(context_connect) X(context_disconnect) X(context_get_server_info) X(context_get_sink_info_list) \
    X(context_get_source_info_list) X(context_get_state) X(context_new) X(context_rttime_new) \
    X(context_set_state_callback) X(context_set_subscribe_callback) X(context_subscribe) X(context_unref) \
    X(frame_size) X(operation_cancel) X(operation_get_state) X(operation_unref) X(rtclock_now) \
    X(stream_connect_playback) X(stream_cork) X(stream_disconnect) X(stream_drain) X(stream_get_buffer_attr) \
    X(stream_get_context) X(stream_get_latency) X(stream_get_state) X(stream_get_timing_info) X(stream_is_suspended) \
    X(stream_new) X(stream_set_state_callback) X(stream_set_underflow_callback) X(stream_set_write_callback) \
    X(stream_unref) X(stream_update_timing_info) X(stream_writable_size) X(stream_write) X(threaded_mainloop_free) \
    X(threaded_mainloop_get_api) X(threaded_mainloop_lock) X(threaded_mainloop_new) X(threaded_mainloop_set_name) \
    X(threaded_mainloop_start) X(threaded_mainloop_stop) X(threaded_mainloop_unlock)
// clang-format on

/// libpulse, loaded when a backend first wants it: what plays nothing starts without it and the many libraries that it
/// brings, and where it is not installed the other backends play. It stays until the process ends.
struct PulseLibrary {
#define KX_DECLARE(name)                                                                                               \
    LoadedFunction<decltype(&::pa_##name)> name; // NOLINT(bugprone-macro-parentheses): a declarator
    KX_PULSE_FUNCTIONS(KX_DECLARE)
#undef KX_DECLARE

    /// Whether it could be loaded; a failure is logged, once. The first call waits for the disk. [any] [blocks]
    [[nodiscard]] static bool load();

private:
    friend const PulseLibrary &pulse() noexcept;
    static PulseLibrary &instance() noexcept;
};

/// The library's functions, once `load` was true. [any]
[[nodiscard]] const PulseLibrary &pulse() noexcept;

/// Frees an object of the library.
template <auto Function> struct FreeWith {
    template <class T> void operator()(T *object) const noexcept { (pulse().*Function)(object); }
};

} // namespace kx
