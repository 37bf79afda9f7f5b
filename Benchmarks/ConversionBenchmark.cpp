/// @file
/// The conversions of the audio path, in samples a second, beside copying the same bytes; and resampling, in frames a
/// second of the input.
#include "KXFW/Platform/Conversion/ChannelMix.h"
#include "KXFW/Platform/Conversion/RateConverter.h"
#include "KXFW/Platform/Conversion/SampleFormat.h"
#include "KXFW/Platform/Foundation/BufferList.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <benchmark/benchmark.h>
#include <cmath>
#include <cstring>
#include <vector>

namespace
{

constexpr uint32_t kFrames = 512; ///< a slice

AudioStreamBasicDescription pcm(const benchmark::State &state)
{
    return kx::interleaved(44100, static_cast<uint32_t>(state.range(0)), static_cast<uint32_t>(state.range(1)),
                           static_cast<uint32_t>(state.range(2)));
}

struct Planes {
    explicit Planes(uint32_t channels, uint32_t frames = kFrames)
        : samples(std::size_t{channels} * frames), pointers(channels)
    {
        for (std::size_t i = 0; i < samples.size(); ++i)
            samples[i] = std::sin(static_cast<float>(i) * 0.05F) * 0.9F;
        for (std::size_t c = 0; c < channels; ++c)
            pointers[c] = samples.data() + c * frames;
    }
    std::vector<float> samples;
    std::vector<float *> pointers;
};

void countSamples(benchmark::State &state, uint32_t channels)
{
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kFrames * channels);
}

void readPlanar(benchmark::State &state)
{
    const auto format = pcm(state);
    const kx::BufferList bytes(1, format.mChannelsPerFrame, kFrames * format.mBytesPerFrame);
    Planes planes(format.mChannelsPerFrame);
    kx::fromPlanarFloat(format, planes.pointers.data(), kFrames, *bytes.get(), 0);
    for (auto _ : state) {
        kx::toPlanarFloat(format, *bytes.get(), 0, kFrames, planes.pointers.data());
        benchmark::ClobberMemory();
    }
    countSamples(state, format.mChannelsPerFrame);
}

void writePlanar(benchmark::State &state)
{
    const auto format = pcm(state);
    const kx::BufferList bytes(1, format.mChannelsPerFrame, kFrames * format.mBytesPerFrame);
    const Planes planes(format.mChannelsPerFrame);
    for (auto _ : state) {
        kx::fromPlanarFloat(format, planes.pointers.data(), kFrames, *bytes.get(), 0);
        benchmark::ClobberMemory();
    }
    countSamples(state, format.mChannelsPerFrame);
}

/// Channels, bits, flags.
void formats(benchmark::internal::Benchmark *bench)
{
    constexpr int64_t integer = kAudioFormatFlagIsSignedInteger;
    constexpr int64_t big = kAudioFormatFlagIsBigEndian;
    bench->ArgNames({"channels", "bits", "flags"});
    bench->Args({2, 16, integer | big})->Args({2, 16, integer})->Args({1, 16, integer | big});
    bench->Args({6, 16, integer})
        ->Args({2, 24, integer})
        ->Args({2, 32, integer})
        ->Args({2, 32, kAudioFormatFlagIsFloat});
}

BENCHMARK(readPlanar)->Apply(formats);
BENCHMARK(writePlanar)->Apply(formats);

void swapWords(benchmark::State &state)
{
    std::vector<int16_t> words(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        kx::swapBytes16(words.data(), words.data(), words.size());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(swapWords)->Arg(2 * kFrames)->Arg(1 << 19);

/// The reference: the 16-bit samples of a slice copied.
void copyWords(benchmark::State &state)
{
    std::vector<int16_t> from(static_cast<std::size_t>(state.range(0)));
    std::vector<int16_t> to(from.size());
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), from.size() * sizeof(int16_t));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(copyWords)->Arg(2 * kFrames)->Arg(1 << 19);

/// The reference: a slice of planar stereo floats copied.
void copyPlanes(benchmark::State &state)
{
    const Planes from(2);
    Planes to(2);
    for (auto _ : state) {
        std::memcpy(to.samples.data(), from.samples.data(), from.samples.size() * sizeof(float));
        benchmark::ClobberMemory();
    }
    countSamples(state, 2);
}
BENCHMARK(copyPlanes);

/// Input samples a second, inputs to outputs.
void mix(benchmark::State &state)
{
    const auto inputs = static_cast<uint32_t>(state.range(0));
    const auto outputs = static_cast<uint32_t>(state.range(1));
    const kx::ChannelMix object(inputs, outputs);
    const Planes from(inputs);
    const Planes to(outputs);
    for (auto _ : state) {
        object.apply(from.pointers.data(), to.pointers.data(), kFrames);
        benchmark::ClobberMemory();
    }
    countSamples(state, inputs);
}
BENCHMARK(mix)->ArgNames({"in", "out"})->Args({1, 2})->Args({2, 1})->Args({6, 2});

/// Stereo at the given rate to 44,100; "x" is how many times faster than the sound lasts.
void resample(benchmark::State &state)
{
    const auto rate = static_cast<double>(state.range(0));
    auto object = *kx::RateConverter::make(rate, 44100, 2, kFrames);
    const Planes from(2);
    Planes to(2, 1 << 16);
    for (auto _ : state)
        object->process(from.pointers.data(), kFrames, to.pointers.data(), 1 << 16);
    const double frames = static_cast<double>(state.iterations()) * kFrames;
    state.counters["x"] = benchmark::Counter(frames / rate, benchmark::Counter::kIsRate);
}
BENCHMARK(resample)->ArgName("rate")->Arg(22050)->Arg(44056)->Arg(48000)->Arg(88200)->Arg(96000)->Arg(192000);

/// A restart, as each seek makes one.
void restart(benchmark::State &state)
{
    auto object = *kx::RateConverter::make(static_cast<double>(state.range(0)), 44100, 2, kFrames);
    for (auto _ : state)
        object->reset();
}
BENCHMARK(restart)->ArgName("rate")->Arg(22050)->Arg(47999)->Arg(48000)->Arg(96000)->Arg(192000)->Arg(767999);

} // namespace
