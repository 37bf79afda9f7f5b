#pragma once

#include "KXFW/Platform/Hardware/Backends/LoadedFunction.h"

#include <alsa/asoundlib.h>

namespace kx
{

// clang-format off
/// The functions of libasound that are used, without their prefix.
#define KX_ALSA_FUNCTIONS(X) \
    X(card_next) X(ctl_card_info) X(ctl_card_info_free) X(ctl_card_info_get_id) X(ctl_card_info_get_name) \
    X(ctl_card_info_malloc) X(ctl_close) X(ctl_open) X(ctl_pcm_info) X(ctl_pcm_next_device) X(device_name_free_hint) \
    X(device_name_get_hint) X(device_name_hint) X(pcm_avail_update) X(pcm_close) X(pcm_delay) X(pcm_drop) \
    X(pcm_hw_params) X(pcm_hw_params_any) X(pcm_hw_params_free) X(pcm_hw_params_get_buffer_size) \
    X(pcm_hw_params_malloc) X(pcm_hw_params_set_access) X(pcm_hw_params_set_buffer_size_near) \
    X(pcm_hw_params_set_channels_near) X(pcm_hw_params_set_format) X(pcm_hw_params_set_period_size_near) \
    X(pcm_hw_params_set_rate_near) X(pcm_hw_params_set_rate_resample) X(pcm_info_free) X(pcm_info_get_name) \
    X(pcm_info_malloc) X(pcm_info_set_device) X(pcm_info_set_stream) X(pcm_open) X(pcm_poll_descriptors) \
    X(pcm_poll_descriptors_count) X(pcm_poll_descriptors_revents) X(pcm_prepare) X(pcm_resume) X(pcm_start) \
    X(pcm_state) X(pcm_sw_params) X(pcm_sw_params_current) X(pcm_sw_params_free) X(pcm_sw_params_malloc) \
    X(pcm_sw_params_set_avail_min) X(pcm_sw_params_set_start_threshold) X(pcm_writei)
// clang-format on

/// libasound, loaded when a backend first wants it, as PulseLibrary is.
struct AlsaLibrary {
#define KX_DECLARE(name)                                                                                               \
    LoadedFunction<decltype(&::snd_##name)> name; // NOLINT(bugprone-macro-parentheses): a declarator
    KX_ALSA_FUNCTIONS(KX_DECLARE)
#undef KX_DECLARE

    /// Whether it could be loaded; a failure is logged, once. The first call waits for the disk. [any] [blocks]
    [[nodiscard]] static bool load();

private:
    friend const AlsaLibrary &alsa() noexcept;
    static AlsaLibrary &instance() noexcept;
};

/// The library's functions, once `load` was true. [any]
[[nodiscard]] const AlsaLibrary &alsa() noexcept;

/// Ends an object of the library.
template <auto Function> struct AlsaEnd {
    template <class T> void operator()(T *object) const noexcept { (alsa().*Function)(object); }
};

} // namespace kx
