#pragma once

#include "KXFW/Audio/KXEnvelope.h"
#include "KXFW/Platform/Foundation/AudioTypes.h"
#include "KXFW/Platform/Foundation/Export.h"
#include "KXFW/Platform/Foundation/NSObject.h"

#include <cstdint>
#include <memory>

KX_EXPORT extern const float kOscillatorDefaultPitch KX_SYMBOL(kOscillatorDefaultPitch);         ///< 440 Hz
KX_EXPORT extern const float kOscillatorDefaultAmplitude KX_SYMBOL(kOscillatorDefaultAmplitude); ///< 1, a linear gain

/// A source of mono samples, 44,100 a second: one of five waveforms, with a pitch that another oscillator may modulate
/// and a level that an envelope may shape.
///
/// It owns its modulators and its envelope together with others who hold them, and has no thread or timer. It moves by
/// one step for each sample pulled, before the sample is taken: its state is the phase. All oscillators of the process
/// share one held noise value. Noise is drawn from the C library's `rand`, which locks for a moment and gives the same
/// values after the same `srand`.
///
/// One thread at a time pulls an oscillator and its modulators, and one all that make noise. `type`, `pitch`,
/// `amplitude` and `phase` may be set from any thread, though a phase set during a pull may be lost. The objects are
/// set by the thread that pulls, or between pulls.
class KX_EXPORT KXOscillator : public NSObject
{
public:
    KXOscillator();           ///< A sine of 440 Hz and amplitude 1, phase 0. [any]
    ~KXOscillator() override; ///< [any]

    // The fields. All [any] [render].

    /// The waveform of a phase x: 0 sine, rising from 0; 1 triangle, from -1 up to +1 at pi and down again; 2 square,
    /// -1 up to pi and +1 beyond; 3 noise, a value of -1 to 1 held until the phase passes pi, which then starts again
    /// at 0; 4 the constant 1. Any other is silence.
    [[nodiscard]] uint8_t type() const noexcept;
    void setType(uint8_t type) noexcept;

    /// Hertz. The waveform is right for 0 to 44,100; any other value is taken as it is.
    [[nodiscard]] float pitch() const noexcept;
    void setPitch(float pitch) noexcept;

    /// A linear gain.
    [[nodiscard]] float amplitude() const noexcept;
    void setAmplitude(float amplitude) noexcept;

    /// Radians, 0 to 2 pi.
    [[nodiscard]] float phase() const noexcept;
    void setPhase(float phase) noexcept;

    /// Each of its samples, in hertz, is added to the pitch; null for none. One whose pull fails counts as 0.
    [[nodiscard]] const std::shared_ptr<KXOscillator> &pitchLFO() const noexcept;
    /// False, and nothing changes, where `pitchLFO` is this oscillator or leads to it: a chain must end. [any]
    bool setPitchLFO(std::shared_ptr<KXOscillator> pitchLFO);

    /// Held; it does not change the sound.
    [[nodiscard]] const std::shared_ptr<KXOscillator> &amplitudeLFO() const noexcept;
    bool setAmplitudeLFO(std::shared_ptr<KXOscillator> amplitudeLFO); ///< Refuses as setPitchLFO does. [any]

    /// Each of its values multiplies the amplitude; null for none. One whose pull fails counts as 1.
    [[nodiscard]] const std::shared_ptr<KXEnvelope> &envelope() const noexcept;
    void setEnvelope(std::shared_ptr<KXEnvelope> envelope) noexcept; ///< [any]

    /// Writes the next `*numSamples` samples to `buffer`; the count is only read. Every sample takes the properties as
    /// they are then, so an envelope or a modulator of another class may set them. Allocates nothing.
    /// @return 0. A modulator of a class that overrides this gives another status when it fails. [any] [render]
    virtual OSStatus pull(float *buffer, const uint32_t *numSamples);

private:
    struct Impl;
    const std::unique_ptr<Impl> impl_;
};
