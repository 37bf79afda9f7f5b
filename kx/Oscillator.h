#pragma once

#include "kx/Error.h"
#include "kx/Visibility.h"

#include <cstdint>
#include <memory>
#include <span>

namespace kx
{

/// The shape of an oscillation, over a phase of 0 to 2 pi.
enum class Waveform : std::uint8_t {
    Sine,     ///< rising from 0
    Triangle, ///< from -1 up to 1 at pi, and down again
    Square,   ///< -1 up to pi, 1 beyond
    Noise,    ///< random values, each held for half a period
    Constant, ///< 1
};

/// Makes samples of an oscillation, 44,100 a second. Settings may come from any thread; one thread at a time renders.
/// Copies are the same oscillator.
class KX_EXPORT Oscillator
{
public:
    explicit Oscillator(Waveform waveform = Waveform::Sine); ///< Of 440 Hz and gain 1, at phase 0. [any]

    void setWaveform(Waveform waveform) noexcept; ///< [any] [render]
    void setPitch(float hertz) noexcept;          ///< 0 to 44,100. [any] [render]
    void setAmplitude(float gain) noexcept;       ///< Linear. [any] [render]
    /// Adds each sample of `modulator`, in hertz, to the pitch. InvalidArgument where it is this one, or led by it.
    /// Not while another thread renders. [any]
    Result<> setPitchModulator(const Oscillator &modulator);

    void render(std::span<float> samples) noexcept; ///< The next ones; allocates nothing. [any] [render]

private:
    struct Impl;
    std::shared_ptr<Impl> impl_;
};

} // namespace kx
