#pragma once

#include "KXFW/Platform/Hardware/Backends/LoadedFunction.h"

#include <pipewire/pipewire.h>

namespace kx
{

// clang-format off
/// The functions of libpipewire that are used, without their prefix. What its headers define inline needs no others.
#define KX_PIPEWIRE_FUNCTIONS(X) \
    X(init) X(context_connect) X(context_destroy) X(context_new) X(core_disconnect) X(properties_new_dict) \
    X(proxy_destroy) X(stream_add_listener) X(stream_connect) X(stream_dequeue_buffer) X(stream_destroy) \
    X(stream_get_time_n) X(stream_new) X(stream_queue_buffer) X(thread_loop_destroy) X(thread_loop_get_loop) \
    X(thread_loop_lock) X(thread_loop_new) X(thread_loop_start) X(thread_loop_stop) X(thread_loop_unlock)
// clang-format on

/// libpipewire, loaded when a backend first wants it, as PulseLibrary is.
struct PipeWireLibrary {
#define KX_DECLARE(name)                                                                                               \
    LoadedFunction<decltype(&::pw_##name)> name; // NOLINT(bugprone-macro-parentheses): a declarator
    KX_PIPEWIRE_FUNCTIONS(KX_DECLARE)
#undef KX_DECLARE

    /// Whether it could be loaded; a failure is logged, once. The first call waits for the disk. [any] [blocks]
    [[nodiscard]] static bool load();

private:
    friend const PipeWireLibrary &pipeWire() noexcept;
    static PipeWireLibrary &instance() noexcept;
};

/// The library's functions, once `load` was true. [any]
[[nodiscard]] const PipeWireLibrary &pipeWire() noexcept;

} // namespace kx
