#include "Apps/kxtool/Commands.h"
#include "Apps/kxtool/Failure.h"
#include "Apps/kxtool/Waiter.h"
#include "kx/FileWriter.h"
#include "kx/Frames.h"
#include "kx/Oscillator.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <vector>

namespace kxtool
{

namespace
{

constexpr int64_t kSynthBlockFrames = 65536;

kx::Oscillator oscillatorOf(const OscillatorOptions &options)
{
    kx::Oscillator oscillator(static_cast<kx::Waveform>(options.type));
    oscillator.setPitch(options.pitch);
    oscillator.setAmplitude(options.amplitude);
    return oscillator;
}

} // namespace

void synthesise(const SynthOptions &options)
{
    Waiter waiter;
    kx::Oscillator oscillator = oscillatorOf(options.sound);
    if (options.isModulated)
        require(oscillator.setPitchModulator(oscillatorOf(options.modulation)));
    auto file =
        require(kx::FileWriter::create(options.output, {.samples = kx::WriterFormat::Samples::Float32, .channels = 1}));
    std::vector<float> block(kSynthBlockFrames);
    for (int64_t left = std::llround(options.seconds * kx::kSampleRate); left > 0; left -= kSynthBlockFrames) {
        if (waiter.wait(std::chrono::milliseconds(0)) == Waiter::Event::Signal)
            throw Failure(options.output, "cancelled");
        const auto samples = std::span(block).first(static_cast<std::size_t>(std::min(left, kSynthBlockFrames)));
        oscillator.render(samples);
        require(file.write(samples));
    }
    require(file.finish());
}

} // namespace kxtool
