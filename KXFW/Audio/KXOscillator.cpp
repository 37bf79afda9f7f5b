#include "KXFW/Audio/KXOscillator.h"

#include "KXFW/Audio/VectorSine.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <numbers>
#include <typeinfo>
#include <utility>
#include <vector>

const float kOscillatorDefaultPitch = 440.0F;
const float kOscillatorDefaultAmplitude = 1.0F;

KXEnvelope::~KXEnvelope() = default;

namespace
{

enum Waveform : uint8_t { Sine, Triangle, Square, Noise, Constant };

constexpr auto kRelaxed = std::memory_order_relaxed;
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

/// Whether the modulators of `first` come back to `other`.
bool leadsTo(const KXOscillator &first, const KXOscillator &other)
{
    std::vector<const KXOscillator *> found{&first};
    for (std::size_t i = 0; i < found.size(); ++i) {
        if (found[i] == &other)
            return true;
        for (const KXOscillator *next : {found[i]->pitchLFO().get(), found[i]->amplitudeLFO().get()})
            if (next && std::find(found.begin(), found.end(), next) == found.end())
                found.push_back(next);
    }
    return false;
}

} // namespace

struct KXOscillator::Impl {
    /// Keeps the objects that are called alive while they run, should they take themselves out of the oscillator.
    struct Partners {
        template <class Object>
        static Object *kept(std::shared_ptr<Object> &kept, const std::shared_ptr<Object> &current)
        {
            if (kept != current)
                kept = current;
            return kept.get();
        }

        std::shared_ptr<KXOscillator> pitchLFO;
        std::shared_ptr<KXEnvelope> envelope;
    };

    [[nodiscard]] bool isClosed() const noexcept;
    void pullBlock(float *buffer, uint32_t count) noexcept;
    float nextSample(Partners &partners);

    std::atomic<uint8_t> type{Sine};
    std::atomic<float> pitch{kOscillatorDefaultPitch};
    std::atomic<float> amplitude{kOscillatorDefaultAmplitude};
    std::atomic<float> phase{0.0F};
    std::shared_ptr<KXOscillator> pitchLFO;
    std::shared_ptr<KXOscillator> amplitudeLFO;
    std::shared_ptr<KXEnvelope> envelope;
};

KXOscillator::KXOscillator() : impl_(std::make_unique<Impl>()) {}
KXOscillator::~KXOscillator() = default;

uint8_t KXOscillator::type() const noexcept
{
    return impl_->type.load(kRelaxed);
}

void KXOscillator::setType(uint8_t type) noexcept
{
    impl_->type.store(type, kRelaxed);
}

float KXOscillator::pitch() const noexcept
{
    return impl_->pitch.load(kRelaxed);
}

void KXOscillator::setPitch(float pitch) noexcept
{
    impl_->pitch.store(pitch, kRelaxed);
}

float KXOscillator::amplitude() const noexcept
{
    return impl_->amplitude.load(kRelaxed);
}

void KXOscillator::setAmplitude(float amplitude) noexcept
{
    impl_->amplitude.store(amplitude, kRelaxed);
}

float KXOscillator::phase() const noexcept
{
    return impl_->phase.load(kRelaxed);
}

void KXOscillator::setPhase(float phase) noexcept
{
    impl_->phase.store(phase, kRelaxed);
}

const std::shared_ptr<KXOscillator> &KXOscillator::pitchLFO() const noexcept
{
    return impl_->pitchLFO;
}

const std::shared_ptr<KXOscillator> &KXOscillator::amplitudeLFO() const noexcept
{
    return impl_->amplitudeLFO;
}

const std::shared_ptr<KXEnvelope> &KXOscillator::envelope() const noexcept
{
    return impl_->envelope;
}

void KXOscillator::setEnvelope(std::shared_ptr<KXEnvelope> envelope) noexcept
{
    impl_->envelope = std::move(envelope);
}

bool KXOscillator::setPitchLFO(std::shared_ptr<KXOscillator> pitchLFO)
{
    if (pitchLFO && leadsTo(*pitchLFO, *this))
        return false;
    impl_->pitchLFO = std::move(pitchLFO);
    return true;
}

bool KXOscillator::setAmplitudeLFO(std::shared_ptr<KXOscillator> amplitudeLFO)
{
    if (amplitudeLFO && leadsTo(*amplitudeLFO, *this))
        return false;
    impl_->amplitudeLFO = std::move(amplitudeLFO);
    return true;
}

OSStatus KXOscillator::pull(float *buffer, const uint32_t *numSamples)
{
    const uint32_t count = *numSamples;
    if (count > 1 && impl_->isClosed()) {
        for (uint32_t done = 0; done < count; done += kBlockSamples)
            impl_->pullBlock(buffer + done, std::min(count - done, kBlockSamples));
        return noErr;
    }
    Impl::Partners partners;
    for (uint32_t i = 0; i < count; ++i)
        buffer[i] = impl_->nextSample(partners);
    return noErr;
}

/// True where nothing runs between two samples that could see or change a property, and the modulators' samples may
/// as well be made ahead: two that draw noise would do so in another order.
bool KXOscillator::Impl::isClosed() const noexcept
{
    int noises = 0;
    for (const Impl *each = this; each; each = each->pitchLFO ? each->pitchLFO->impl_.get() : nullptr) {
        noises += each->type.load(kRelaxed) == Noise ? 1 : 0;
        const KXOscillator *const next = each->pitchLFO.get();
        if (each->envelope || noises > 1 || (next && typeid(*next) != typeid(KXOscillator)))
            return false;
    }
    return true;
}

/// The modulator's samples go to the buffer first, and are replaced by what they lead to.
void KXOscillator::Impl::pullBlock(float *buffer, uint32_t count) noexcept
{
    const auto fill = [&](auto step) {
        phase.store(generate(type.load(kRelaxed), amplitude.load(kRelaxed), phase.load(kRelaxed), buffer, count, step),
                    kRelaxed);
    };
    const float own = pitch.load(kRelaxed);
    if (pitchLFO) {
        pitchLFO->impl_->pullBlock(buffer, count);
        fill([own](float modulation) { return phaseStep(own + modulation); });
    } else {
        fill([step = phaseStep(own)](float) { return step; });
    }
}

float KXOscillator::Impl::nextSample(Partners &partners)
{
    constexpr uint32_t one = 1;
    float frequency = pitch.load(kRelaxed);
    if (KXOscillator *lfo = Partners::kept(partners.pitchLFO, pitchLFO)) {
        float modulation = 0.0F;
        frequency += lfo->pull(&modulation, &one) == noErr ? modulation : 0.0F;
    }
    float next = advanced(phase.load(kRelaxed), phaseStep(frequency));
    phase.store(next, kRelaxed);
    const float sample = sampleOf(type.load(kRelaxed), next);
    phase.store(next, kRelaxed);
    float gain = amplitude.load(kRelaxed);
    if (KXEnvelope *of = Partners::kept(partners.envelope, envelope)) {
        double level = 1.0;
        gain = static_cast<float>(gain * (of->pull(&level, &one) == noErr ? level : 1.0));
    }
    return sample * gain;
}
