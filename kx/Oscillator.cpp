#include "kx/Oscillator.h"

#include "KXFW/Audio/KXOscillator.h"

#include <algorithm>

namespace kx
{

struct Oscillator::Impl {
    std::shared_ptr<KXOscillator> oscillator = std::make_shared<KXOscillator>();
};

Oscillator::Oscillator(Waveform waveform) : impl_(std::make_shared<Impl>())
{
    setWaveform(waveform);
}

void Oscillator::setWaveform(Waveform waveform) noexcept
{
    impl_->oscillator->setType(static_cast<std::uint8_t>(waveform));
}

void Oscillator::setPitch(float hertz) noexcept
{
    impl_->oscillator->setPitch(hertz);
}

void Oscillator::setAmplitude(float gain) noexcept
{
    impl_->oscillator->setAmplitude(gain);
}

Result<> Oscillator::setPitchModulator(const Oscillator &modulator)
{
    if (impl_->oscillator->setPitchLFO(modulator.impl_->oscillator))
        return {};
    return Error{ErrorCode::InvalidArgument, "an oscillator cannot modulate itself", {}};
}

void Oscillator::render(std::span<float> samples) noexcept
{
    for (std::size_t done = 0; done < samples.size();) {
        const auto count = static_cast<std::uint32_t>(std::min<std::size_t>(samples.size() - done, UINT32_MAX));
        impl_->oscillator->pull(samples.data() + done, &count);
        done += count;
    }
}

} // namespace kx
