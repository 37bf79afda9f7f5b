/// @file
/// The oscillator beside its rules over the C library's sin, and the vector sine held against that sin. Trust the
/// ratios of one run, not the rates.
#include "KXFW/Audio/KXOscillator.h"
#include "KXFW/Audio/VectorSine.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <bit>
#include <chrono>
#include <cmath>
#include <limits>
#include <memory>
#include <numbers>
#include <string>
#include <vector>

namespace
{

constexpr uint32_t kSamples = 44100;
constexpr double kTurn = 2 * std::numbers::pi;

/// The phases of a 440 Hz tone, and `sample` of each.
template <class Sample> void plainLoop(std::vector<float> &out, Sample sample)
{
    float phase = 0;
    for (float &each : out) {
        phase = static_cast<float>(phase + 440.0F / 44100.0 * kTurn);
        if (phase > kTurn)
            phase = static_cast<float>(phase - kTurn);
        each = sample(phase);
    }
}

void plainSine(std::vector<float> &out)
{
    plainLoop(out, [](float x) { return static_cast<float>(std::sin(static_cast<double>(x))) * 0.5F; });
}

void phasesAlone(std::vector<float> &out)
{
    plainLoop(out, [](float x) { return x; });
}

void loop(benchmark::State &state, void (*fill)(std::vector<float> &))
{
    std::vector<float> out(kSamples);
    for (auto _ : state) {
        fill(out);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kSamples);
}
BENCHMARK_CAPTURE(loop, sineOfTheLibrary, plainSine);
BENCHMARK_CAPTURE(loop, phasesAlone, phasesAlone);

/// The shortest of several runs, in seconds.
template <class Work> double shortest(Work work)
{
    double best = std::numeric_limits<double>::max();
    for (int run = 0; run < 20; ++run) {
        const auto begin = std::chrono::steady_clock::now();
        work();
        benchmark::ClobberMemory();
        best = std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
    }
    return best;
}

/// Both loops are timed around the oscillator itself, so that the ratios hold on a machine whose speed varies:
/// "xSine" is how many times faster than the library's sine it is, "xPhases" the share of the speed of the phases
/// alone.
void oscillator(benchmark::State &state)
{
    static const char *const names[] = {"sine", "triangle", "square", "noise", "constant", "silence"};
    KXOscillator object;
    object.setType(static_cast<uint8_t>(state.range(0)));
    object.setAmplitude(0.5F);
    if (state.range(1) != 0) {
        object.setPitchLFO(std::make_shared<KXOscillator>());
        object.pitchLFO()->setPitch(5);
    }
    std::vector<float> out(kSamples);
    const auto pull = [&] { object.pull(out.data(), &kSamples); };
    for (auto _ : state) {
        pull();
        benchmark::ClobberMemory();
    }
    const double own = shortest(pull);
    state.counters["xSine"] = shortest([&] { plainSine(out); }) / own;
    state.counters["xPhases"] = shortest([&] { phasesAlone(out); }) / own;
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kSamples);
    state.SetLabel(names[state.range(0)] + std::string(state.range(1) != 0 ? ", modulated by a sine" : ""));
}
BENCHMARK(oscillator)->ArgNames({"type", "lfo"})->ArgsProduct({{0, 1, 2, 3, 4, 5}, {0, 1}});

/// Every float that the vector sine takes, both signs: some two thousand million. Any that differs is an error.
void sineOfEveryFloat(benchmark::State &state)
{
    constexpr uint32_t last = std::bit_cast<uint32_t>(kx::kLargestVectorPhase);
    constexpr uint32_t block = 4096;
    std::vector<float> phases(block);
    std::vector<float> sines(block);
    int64_t different = 0;
    for (auto _ : state)
        for (const uint32_t sign : {0U, 1U << 31})
            for (uint32_t from = 0; from <= last; from += block) {
                const uint32_t count = std::min(block, last - from + 1);
                for (uint32_t i = 0; i < count; ++i)
                    phases[i] = sines[i] = std::bit_cast<float>((from + i) | sign);
                kx::sineTimes(1, sines.data(), count);
                for (uint32_t i = 0; i < count; ++i) {
                    const auto expected = static_cast<float>(std::sin(static_cast<double>(phases[i])));
                    different += std::bit_cast<uint32_t>(expected) != std::bit_cast<uint32_t>(sines[i]) ? 1 : 0;
                }
            }
    if (different != 0)
        state.SkipWithError((std::to_string(different) + " floats differ").c_str());
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * 2 * (int64_t{last} + 1));
}
BENCHMARK(sineOfEveryFloat)->Iterations(1)->Unit(benchmark::kSecond);

} // namespace
