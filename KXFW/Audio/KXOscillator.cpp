#include "KXFW/Audio/KXOscillator.h"

#include "KXFW/Audio/VectorSine.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numbers>
#include <typeinfo>
#include <vector>

const float kOscillatorDefaultPitch = 440.0F;
const float kOscillatorDefaultAmplitude = 1.0F;

KXEnvelope::~KXEnvelope() = default;

namespace
{

enum Waveform : uint8_t { Sine, Triangle, Square, Noise, Constant };

constexpr double kSampleRate = 44100.0;
constexpr double kPi = std::numbers::pi;
constexpr double kTurn = 2 * std::numbers::pi;
constexpr uint32_t kBlockSamples = 512; ///< stays in the nearest cache between the passes over it

std::atomic<float> lastSample{0.0F}; ///< the noise that is held, of all oscillators

double phaseStep(float frequency) noexcept
{
    return frequency / kSampleRate * 2 * kPi;
}

float advanced(float phase, double step) noexcept
{
    const auto next = static_cast<float>(phase + step);
    return next > kTurn ? static_cast<float>(next - kTurn) : next;
}

float triangle(float x) noexcept
{
    const bool rises = x < kPi;
    return static_cast<float>((rises ? 2.0 * x : (x - kPi) * -2) / kPi + (rises ? -1 : 1));
}

float square(float x) noexcept
{
    return x > kPi ? 1.0F : -1.0F;
}

/// The held value; beyond half a turn a new one, and the phase starts again.
float noise(float &phase) noexcept
{
    if (phase > kPi) {
        lastSample.store(static_cast<float>(std::rand()) * 0x1p-31F * 2 - 1, std::memory_order_relaxed);
        phase = 0.0F;
    }
    return lastSample.load(std::memory_order_relaxed);
}

float sampleOf(uint8_t type, float &phase) noexcept
{
    switch (type) {
    case Sine:
        return static_cast<float>(std::sin(static_cast<double>(phase)));
    case Triangle:
        return triangle(phase);
    case Square:
        return square(phase);
    case Noise:
        return noise(phase);
    default:
        return type == Constant ? 1.0F : 0.0F;
    }
}

/// Replaces each value of `buffer` by `sample` of the phase that `step` of it leads to; returns the last phase.
template <class Step, class Sample>
float walk(float phase, float *buffer, uint32_t count, Step step, Sample sample) noexcept
{
    for (uint32_t i = 0; i < count; ++i) {
        phase = advanced(phase, step(buffer[i]));
        buffer[i] = sample(phase);
    }
    return phase;
}

template <class Step>
float generate(uint8_t type, float gain, float phase, float *buffer, uint32_t count, Step step) noexcept
{
    switch (type) {
    case Sine:
        phase = walk(phase, buffer, count, step, [](float x) { return x; });
        kx::sineTimes(gain, buffer, count);
        return phase;
    case Triangle:
        return walk(phase, buffer, count, step, [gain](float x) { return triangle(x) * gain; });
    case Square:
        return walk(phase, buffer, count, step, [gain](float x) { return square(x) * gain; });
    case Noise:
        return walk(phase, buffer, count, step, [gain](float &x) { return noise(x) * gain; });
    default:
        return walk(phase, buffer, count, step,
                    [value = (type == Constant ? 1.0F : 0.0F) * gain](float) { return value; });
    }
}

} // namespace

/// Keeps the objects that are called alive while they run, should they take themselves out of the oscillator.
struct KXOscillator::Partners {
    template <class Object> static Object *kept(std::shared_ptr<Object> &kept, const std::shared_ptr<Object> &current)
    {
        if (kept != current)
            kept = current;
        return kept.get();
    }

    std::shared_ptr<KXOscillator> pitchLFO;
    std::shared_ptr<KXEnvelope> envelope;
};

KXOscillator::KXOscillator()
{
    setType(Sine);
    setPitch(kOscillatorDefaultPitch);
    setAmplitude(kOscillatorDefaultAmplitude);
    setPhase(0.0F);
}

bool KXOscillator::leadsTo(const KXOscillator *other) const
{
    std::vector<const KXOscillator *> found{this};
    for (std::size_t i = 0; i < found.size(); ++i) {
        if (found[i] == other)
            return true;
        for (const KXOscillator *next : {found[i]->pitchLFO_.get(), found[i]->amplitudeLFO_.get()})
            if (next && std::find(found.begin(), found.end(), next) == found.end())
                found.push_back(next);
    }
    return false;
}

bool KXOscillator::setPitchLFO(std::shared_ptr<KXOscillator> pitchLFO)
{
    if (pitchLFO && pitchLFO->leadsTo(this))
        return false;
    pitchLFO_ = std::move(pitchLFO);
    return true;
}

bool KXOscillator::setAmplitudeLFO(std::shared_ptr<KXOscillator> amplitudeLFO)
{
    if (amplitudeLFO && amplitudeLFO->leadsTo(this))
        return false;
    amplitudeLFO_ = std::move(amplitudeLFO);
    return true;
}

OSStatus KXOscillator::pull(float *buffer, const uint32_t *numSamples)
{
    const uint32_t count = *numSamples;
    if (count > 1 && isClosed()) {
        for (uint32_t done = 0; done < count; done += kBlockSamples)
            pullBlock(buffer + done, std::min(count - done, kBlockSamples));
        return noErr;
    }
    Partners partners;
    for (uint32_t i = 0; i < count; ++i)
        buffer[i] = nextSample(partners);
    return noErr;
}

/// True where nothing runs between two samples that could see or change a property, and the modulators' samples may
/// as well be made ahead: two that draw noise would do so in another order.
bool KXOscillator::isClosed() const noexcept
{
    int noises = 0;
    for (const KXOscillator *each = this; each; each = each->pitchLFO_.get()) {
        noises += each->type() == Noise ? 1 : 0;
        if (each->envelope_ || noises > 1 || (each != this && typeid(*each) != typeid(KXOscillator)))
            return false;
    }
    return true;
}

/// The modulator's samples go to the buffer first, and are replaced by what they lead to.
void KXOscillator::pullBlock(float *buffer, uint32_t count) noexcept
{
    const float pitch = this->pitch();
    if (pitchLFO_) {
        pitchLFO_->pullBlock(buffer, count);
        setPhase(generate(type(), amplitude(), phase(), buffer, count,
                          [pitch](float modulation) { return phaseStep(pitch + modulation); }));
    } else {
        setPhase(
            generate(type(), amplitude(), phase(), buffer, count, [step = phaseStep(pitch)](float) { return step; }));
    }
}

float KXOscillator::nextSample(Partners &partners)
{
    constexpr uint32_t one = 1;
    float frequency = pitch();
    if (KXOscillator *lfo = Partners::kept(partners.pitchLFO, pitchLFO_)) {
        float modulation = 0.0F;
        frequency += lfo->pull(&modulation, &one) == noErr ? modulation : 0.0F;
    }
    float phase = advanced(this->phase(), phaseStep(frequency));
    setPhase(phase);
    const float sample = sampleOf(type(), phase);
    setPhase(phase);
    float gain = amplitude();
    if (KXEnvelope *envelope = Partners::kept(partners.envelope, envelope_)) {
        double level = 1.0;
        gain = static_cast<float>(gain * (envelope->pull(&level, &one) == noErr ? level : 1.0));
    }
    return sample * gain;
}
