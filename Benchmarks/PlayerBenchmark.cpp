// The player's own paths, each beside a reference loop of the same size. Trust the ratios of one run, not the times.
#include "KXFW/Audio/KXAFilePlayer.h"
#include "KXFW/Platform/AudioFiles/ExtendedAudioFile.h"
#include "KXFW/Platform/AudioUnits/AVAudioUnitTimePitch.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <benchmark/benchmark.h>
#include <sndfile.h>

#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <unistd.h>
#include <vector>

namespace
{

constexpr uint32_t kSlice = 512;
constexpr int64_t kFrames = 44100 * 60;

const int chosenBackend = setenv("KXFW_AUDIO_BACKEND", "virtual", 1);

/// A minute of 16-bit stereo, made once and removed at the end.
class Minute
{
public:
    Minute()
    {
        SF_INFO info{0, 44100, 2, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 0, 0};
        SNDFILE *file = sf_open(path.c_str(), SFM_WRITE, &info);
        std::vector<int16_t> samples(kFrames * 2);
        for (std::size_t i = 0; i < samples.size(); ++i)
            samples[i] = static_cast<int16_t>(i * 7919);
        sf_writef_short(file, samples.data(), kFrames);
        sf_close(file);
    }
    ~Minute() { std::filesystem::remove(path); }

    std::filesystem::path path =
        std::filesystem::temp_directory_path() / ("kxbench-" + std::to_string(getpid()) + ".wav");
};

const std::filesystem::path &minute()
{
    static const Minute file;
    return file.path;
}

/// The floor of a slice: what the bytes cost when they are only copied, around a block of the ring's size.
void BM_SliceCopyReference(benchmark::State &state)
{
    std::vector<char> ring(1 << 24);
    std::vector<char> out(kSlice * 4);
    std::size_t at = 0;
    for (auto _ : state) {
        std::memcpy(out.data(), ring.data() + at, out.size());
        at = (at + out.size()) % (ring.size() - out.size());
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(state.iterations() * kSlice);
}
BENCHMARK(BM_SliceCopyReference);

void BM_SliceFromAudioData(benchmark::State &state)
{
    const auto data = KXAFiledAudioData2::audioDataWithContentsOfURL(minute());
    std::vector<char> out(kSlice * 4);
    for (auto _ : state) {
        uint32_t frames = kSlice;
        data->readToBuffer(out.data(), &frames);
        if (frames < kSlice) {
            state.PauseTiming();
            data->seek(0);
            while (data->prereadFrames(262144) > 0) {
            }
            state.ResumeTiming();
        }
    }
    state.SetItemsProcessed(state.iterations() * kSlice);
}
BENCHMARK(BM_SliceFromAudioData);

/// The floor of a slice of the chain: the copy, and a plain loop from its samples to planar floats.
void BM_SliceToFloatsReference(benchmark::State &state)
{
    std::vector<char> ring(1 << 24);
    std::vector<int16_t> samples(kSlice * 2);
    std::vector<float> left(kSlice);
    std::vector<float> right(kSlice);
    std::size_t at = 0;
    for (auto _ : state) {
        std::memcpy(samples.data(), ring.data() + at, kSlice * 4);
        at = (at + kSlice * 4) % (ring.size() - kSlice * 4);
        benchmark::DoNotOptimize(samples.data());
        for (std::size_t i = 0; i < kSlice; ++i) {
            left[i] = static_cast<float>(samples[2 * i]) / 32768;
            right[i] = static_cast<float>(samples[2 * i + 1]) / 32768;
        }
        benchmark::DoNotOptimize(left.data());
        benchmark::DoNotOptimize(right.data());
    }
    state.SetItemsProcessed(state.iterations() * kSlice);
}
BENCHMARK(BM_SliceToFloatsReference);

/// A whole slice of the chain: ring, walk, queue, converter.
void BM_SliceFromChain(benchmark::State &state)
{
    const auto player = KXAFilePlayer::player();
    player->loadFileAtURL(minute());
    std::vector<float> left(kSlice);
    std::vector<float> right(kSlice);
    std::vector<char> room(sizeof(AudioBufferList) + sizeof(AudioBuffer));
    auto *list = reinterpret_cast<AudioBufferList *>(room.data());
    AudioTimeStamp time{};
    player->playerParam()->setLoop(false);
    for (auto _ : state) {
        list->mNumberBuffers = 2;
        list->mBuffers[0] = {1, kSlice * 4, left.data()};
        list->mBuffers[1] = {1, kSlice * 4, right.data()};
        AudioUnitRender(player->playerParam()->postUnit(), nullptr, &time, 0, kSlice, list);
        if (player->frameOffset() >= kFrames) {
            state.PauseTiming();
            player->setPositionInFrame(0);
            while (player->audioData()->prereadFrames(262144) > 0) {
            }
            state.ResumeTiming();
        }
    }
    state.SetItemsProcessed(state.iterations() * kSlice);
}
BENCHMARK(BM_SliceFromChain);

/// A loop that wraps in every slice.
void BM_SliceOfATinyLoop(benchmark::State &state)
{
    const auto player = KXAFilePlayer::player();
    player->loadFileAtURL(minute());
    player->setOffsetFramesPlay(1000, 1000, 1000 + state.range(0));
    std::vector<char> out(kSlice * 4);
    for (auto _ : state)
        benchmark::DoNotOptimize(player->_readToBuffer(out.data(), kSlice));
    state.SetItemsProcessed(state.iterations() * kSlice);
}
BENCHMARK(BM_SliceOfATinyLoop)->Arg(1)->Arg(511)->Arg(44100);

/// The peer of an export: libsndfile copies the file in blocks of a slice.
void BM_ExportReference(benchmark::State &state)
{
    const auto out = minute().string() + ".reference.aiff";
    std::vector<int16_t> samples(kSlice * 2);
    for (auto _ : state) {
        SF_INFO info{};
        SNDFILE *source = sf_open(minute().c_str(), SFM_READ, &info);
        SF_INFO target{0, 44100, 2, SF_FORMAT_AIFF | SF_FORMAT_PCM_16, 0, 0};
        SNDFILE *file = sf_open(out.c_str(), SFM_WRITE, &target);
        for (sf_count_t got = 0; (got = sf_readf_short(source, samples.data(), kSlice)) > 0;)
            sf_writef_short(file, samples.data(), got);
        sf_close(source);
        sf_close(file);
    }
    std::filesystem::remove(out);
    state.SetItemsProcessed(state.iterations() * kFrames);
}
BENCHMARK(BM_ExportReference)->Unit(benchmark::kMillisecond)->UseRealTime();

/// The argument is the rate in percent; other than 100 it goes through the time-pitch effect.
void BM_Export(benchmark::State &state)
{
    const auto player = KXAFilePlayer::player();
    player->loadFileAtURL(minute());
    if (state.range(0) != 100) {
        AVAudioUnitTimePitch effect;
        effect.setRate(static_cast<float>(state.range(0)) / 100);
        player->setEffect(effect.audioUnit());
    }
    const auto out = minute().string() + ".aiff";
    std::mutex lock;
    std::condition_variable changed;
    for (auto _ : state) {
        bool done = false;
        player->prepareForExport();
        const auto end = [&] {
            const std::lock_guard guard(lock);
            done = true;
            changed.notify_one();
        };
        player->exportAsyncWithURL(out, {}, end, [&](const NSException &) { end(); });
        std::unique_lock guard(lock);
        changed.wait(guard, [&] { return done; });
    }
    std::filesystem::remove(out);
    state.SetItemsProcessed(state.iterations() * kFrames);
}
BENCHMARK(BM_Export)->Arg(100)->Arg(80)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_OpenReference(benchmark::State &state)
{
    for (auto _ : state) {
        SF_INFO info{};
        sf_close(sf_open(minute().c_str(), SFM_READ, &info));
    }
}
BENCHMARK(BM_OpenReference)->Unit(benchmark::kMicrosecond);

void BM_Load(benchmark::State &state)
{
    const auto player = KXAFilePlayer::player();
    for (auto _ : state)
        benchmark::DoNotOptimize(player->loadFileAtURL(minute()));
}
BENCHMARK(BM_Load)->Unit(benchmark::kMicrosecond);

} // namespace
