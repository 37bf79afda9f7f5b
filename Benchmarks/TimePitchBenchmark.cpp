// The time-pitch unit beside the tempo library's own put-and-receive loop. Items are frames of output.
#include "KXFW/Platform/AudioUnits/AVAudioUnitTimePitch.h"

#include <benchmark/benchmark.h>
#include <soundtouch/SoundTouch.h>

#include <cmath>
#include <cstring>
#include <vector>

namespace
{

constexpr uint32_t kSlice = 512;
constexpr uint32_t kPeriod = 1 << 16;

/// Some seconds of chords with noise, over and over.
const std::vector<float> &music()
{
    static const std::vector<float> samples = [] {
        std::vector<float> made(kPeriod + 4096);
        uint32_t noise = 1;
        for (std::size_t i = 0; i < made.size(); ++i) {
            noise = noise * 1664525u + 1013904223u;
            const auto t = static_cast<double>(i % kPeriod) / 44100;
            made[i] =
                static_cast<float>(0.2 * std::sin(1382 * t) + 0.2 * std::sin(1741 * t) + 0.1 * std::sin(2070 * t)) +
                static_cast<float>(noise >> 8) * 1e-9F;
        }
        return made;
    }();
    return samples;
}

void BM_TempoLibrary(benchmark::State &state)
{
    soundtouch::SoundTouch touch;
    touch.setSampleRate(44100);
    touch.setChannels(2);
    touch.setTempo(static_cast<double>(state.range(0)) / 100);
    std::vector<float> in(kSlice * 2);
    std::vector<float> out(kSlice * 2);
    uint32_t at = 0;
    for (auto _ : state) {
        while (touch.numSamples() < kSlice) {
            for (uint32_t i = 0; i < kSlice; ++i)
                in[2 * i] = in[2 * i + 1] = music()[at + i];
            at = (at + kSlice) % kPeriod;
            touch.putSamples(in.data(), kSlice);
        }
        touch.receiveSamples(out.data(), kSlice);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(state.iterations() * kSlice);
}
BENCHMARK(BM_TempoLibrary)->Arg(50)->Arg(80)->Arg(125)->Arg(200);

OSStatus feed(void *reference, AudioUnitRenderActionFlags *, const AudioTimeStamp *, uint32_t, uint32_t frames,
              AudioBufferList *data)
{
    auto &at = *static_cast<uint32_t *>(reference);
    for (uint32_t i = 0; i < data->mNumberBuffers; ++i)
        std::memcpy((&data->mBuffers[0])[i].mData, music().data() + at, frames * sizeof(float));
    at = (at + frames) % kPeriod;
    return noErr;
}

/// Arguments: rate in percent, pitch in cents.
void BM_TimePitchUnit(benchmark::State &state)
{
    AVAudioUnitTimePitch effect;
    effect.setRate(static_cast<float>(state.range(0)) / 100);
    effect.setPitch(static_cast<float>(state.range(1)));
    uint32_t at = 0;
    const AURenderCallbackStruct callback{feed, &at};
    AudioUnitSetProperty(effect.audioUnit(), kAudioUnitProperty_SetRenderCallback, kAudioUnitScope_Input, 0, &callback,
                         sizeof callback);
    AudioUnitInitialize(effect.audioUnit());
    std::vector<float> left(kSlice);
    std::vector<float> right(kSlice);
    std::vector<char> room(sizeof(AudioBufferList) + sizeof(AudioBuffer));
    auto *list = reinterpret_cast<AudioBufferList *>(room.data());
    const AudioTimeStamp time{};
    for (auto _ : state) {
        list->mNumberBuffers = 2;
        list->mBuffers[0] = {1, kSlice * 4, left.data()};
        (&list->mBuffers[0])[1] = {1, kSlice * 4, right.data()};
        AudioUnitRender(effect.audioUnit(), nullptr, &time, 0, kSlice, list);
    }
    state.SetItemsProcessed(state.iterations() * kSlice);
}
BENCHMARK(BM_TimePitchUnit)
    ->Args({50, 0})
    ->Args({80, 0})
    ->Args({125, 0})
    ->Args({200, 0})
    ->Args({100, -1200})
    ->Args({100, -300})
    ->Args({100, 300})
    ->Args({100, 1200})
    ->Args({80, 2400});

} // namespace
