// Reading, seeking, opening and writing files, each beside a reference loop that does the bare work. Trust the ratios
// of one run, not the times.
#include "KXFW/Platform/AudioFiles/ExtendedAudioFile.h"
#include "KXFW/Platform/Conversion/SampleFormat.h"
#include "KXFW/Platform/Foundation/BufferList.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sndfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cmath>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace
{

namespace fs = std::filesystem;

constexpr uint32_t kSecond = 44100;
constexpr int64_t kFrames = int64_t{kSecond} * 60;
constexpr uint32_t kSlice = 512;
const AudioStreamBasicDescription kStandard =
    kx::interleaved(44100, 2, 16, kAudioFormatFlagIsSignedInteger | kAudioFormatFlagIsBigEndian);

/// A minute of sound in one kind of file, made on first use; in memory where the system has such a folder.
class Sound
{
public:
    Sound(const char *name, int format, int rate = 44100)
    {
        const char *folder = fs::exists("/dev/shm") ? "/dev/shm" : "/tmp";
        path_ = fs::path(folder) / ("kxbench-" + std::to_string(getpid()) + "-" + name);
        SF_INFO info{0, rate, 2, format, 0, 0};
        SNDFILE *file = sf_open(path_.c_str(), SFM_WRITE, &info);
        std::vector<int> samples(2 * kFrames);
        uint32_t noise = 1;
        for (std::size_t i = 0; i < samples.size(); ++i) {
            noise = noise * 1664525 + 1013904223;
            const double tone = std::sin(static_cast<double>(i) * 0.02) * 1e9;
            samples[i] = static_cast<int>(tone + static_cast<double>(noise >> 8) * 4);
        }
        sf_writef_int(file, samples.data(), kFrames);
        sf_close(file);
    }
    ~Sound() { fs::remove(path_); }
    Sound(const Sound &) = delete;
    Sound &operator=(const Sound &) = delete;

    [[nodiscard]] const fs::path &path() const { return path_; }

private:
    fs::path path_;
};

const fs::path &wave16()
{
    static const Sound sound("16.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16);
    return sound.path();
}
const fs::path &wave24()
{
    static const Sound sound("24.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24);
    return sound.path();
}
const fs::path &wave48()
{
    static const Sound sound("48.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 48000);
    return sound.path();
}
const fs::path &aiff16()
{
    static const Sound sound("16.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_16);
    return sound.path();
}
const fs::path &flac16()
{
    static const Sound sound("16.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16);
    return sound.path();
}

/// A file open in the format that the framework reads, and room for a second of it.
class Reader
{
public:
    explicit Reader(const fs::path &path) : samples_(2 * kSecond)
    {
        ExtAudioFileOpenURL(path, &file_);
        ExtAudioFileSetProperty(file_, kExtAudioFileProperty_ClientDataFormat, sizeof kStandard, &kStandard);
    }
    ~Reader() { ExtAudioFileDispose(file_); }
    Reader(const Reader &) = delete;
    Reader &operator=(const Reader &) = delete;

    uint32_t read(uint32_t frames)
    {
        AudioBufferList list{1, {{2, frames * 4, samples_.data()}}};
        ExtAudioFileRead(file_, &frames, &list);
        benchmark::DoNotOptimize(samples_.data());
        return frames;
    }
    void seek(int64_t frame) { ExtAudioFileSeek(file_, frame); }

private:
    ExtAudioFileRef file_ = nullptr;
    std::vector<int16_t> samples_;
};

void countFrames(benchmark::State &state, int64_t framesEach)
{
    state.counters["frames/s"] = benchmark::Counter(static_cast<double>(framesEach * state.iterations()),
                                                    benchmark::Counter::kIsRate, benchmark::Counter::kIs1000);
}

void BM_ReadFile(benchmark::State &state, const fs::path &(*path)(), uint32_t block)
{
    Reader reader(path());
    for (auto _ : state) {
        reader.seek(0);
        while (reader.read(block) > 0)
            ;
    }
    countFrames(state, kFrames);
}
BENCHMARK_CAPTURE(BM_ReadFile, wave16, wave16, kSecond);
BENCHMARK_CAPTURE(BM_ReadFile, wave16_slices, wave16, kSlice);
BENCHMARK_CAPTURE(BM_ReadFile, aiff16, aiff16, kSecond);
BENCHMARK_CAPTURE(BM_ReadFile, wave24, wave24, kSecond);
BENCHMARK_CAPTURE(BM_ReadFile, flac16, flac16, kSecond);
BENCHMARK_CAPTURE(BM_ReadFile, wave48, wave48, kSecond);

/// The bare work for 16-bit samples: the bytes off the disk, exchanged in place.
void BM_ReadFileReference_preadAndSwap(benchmark::State &state)
{
    const int file = open(wave16().c_str(), O_RDONLY | O_CLOEXEC);
    std::vector<int16_t> samples(2 * kSecond);
    for (auto _ : state) {
        off_t at = 44;
        for (ssize_t got = 1; got > 0; at += got) {
            got = pread(file, samples.data(), samples.size() * 2, at);
            kx::swapBytes16(samples.data(), samples.data(), static_cast<std::size_t>(got) / 2);
            benchmark::DoNotOptimize(samples.data());
        }
    }
    close(file);
    countFrames(state, kFrames);
}
BENCHMARK(BM_ReadFileReference_preadAndSwap);

void BM_ReadFileReference_sndfile(benchmark::State &state, const fs::path &(*path)())
{
    SF_INFO info{};
    SNDFILE *file = sf_open(path().c_str(), SFM_READ, &info);
    std::vector<int16_t> samples(2 * kSecond);
    for (auto _ : state) {
        sf_seek(file, 0, SEEK_SET);
        while (sf_readf_short(file, samples.data(), kSecond) > 0)
            benchmark::DoNotOptimize(samples.data());
    }
    sf_close(file);
    countFrames(state, kFrames);
}
BENCHMARK_CAPTURE(BM_ReadFileReference_sndfile, wave16, wave16);
BENCHMARK_CAPTURE(BM_ReadFileReference_sndfile, aiff16, aiff16);
BENCHMARK_CAPTURE(BM_ReadFileReference_sndfile, wave24, wave24);
BENCHMARK_CAPTURE(BM_ReadFileReference_sndfile, flac16, flac16);

/// Where a seek benchmark goes next: the whole file, in an order that no read-ahead guesses.
int64_t nextTarget(int64_t target)
{
    return (target + 1'234'567) % (kFrames - 4096);
}

void BM_Seek(benchmark::State &state, const fs::path &(*path)())
{
    Reader reader(path());
    int64_t target = 0;
    for (auto _ : state) {
        reader.seek(target = nextTarget(target));
        reader.read(4096);
    }
}
BENCHMARK_CAPTURE(BM_Seek, wave16, wave16);
BENCHMARK_CAPTURE(BM_Seek, flac16, flac16);
BENCHMARK_CAPTURE(BM_Seek, wave48, wave48);

void BM_SeekReference_sndfile(benchmark::State &state, const fs::path &(*path)())
{
    SF_INFO info{};
    SNDFILE *file = sf_open(path().c_str(), SFM_READ, &info);
    std::vector<int16_t> samples(2 * 4096);
    int64_t target = 0;
    for (auto _ : state) {
        target = nextTarget(target);
        sf_seek(file, target, SEEK_SET);
        sf_readf_short(file, samples.data(), 4096);
        benchmark::DoNotOptimize(samples.data());
    }
    sf_close(file);
}
BENCHMARK_CAPTURE(BM_SeekReference_sndfile, wave16, wave16);
BENCHMARK_CAPTURE(BM_SeekReference_sndfile, flac16, flac16);

/// A loop's wrap: back to the same place, a second read; its reference is the copy of a second.
void BM_Wrap(benchmark::State &state, const fs::path &(*path)())
{
    Reader reader(path());
    for (auto _ : state) {
        reader.seek(500'000);
        reader.read(kSecond);
    }
}
BENCHMARK_CAPTURE(BM_Wrap, flac16, flac16);
BENCHMARK_CAPTURE(BM_Wrap, wave48, wave48);

void BM_WrapReference_copy(benchmark::State &state)
{
    std::vector<int16_t> from(2 * kSecond, 1);
    std::vector<int16_t> to(2 * kSecond);
    for (auto _ : state) {
        std::copy(from.begin(), from.end(), to.begin());
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_WrapReference_copy);

void BM_Open(benchmark::State &state, const fs::path &(*path)())
{
    const fs::path &file = path();
    for (auto _ : state)
        Reader reader(file);
}
BENCHMARK_CAPTURE(BM_Open, wave16, wave16);
BENCHMARK_CAPTURE(BM_Open, flac16, flac16);
BENCHMARK_CAPTURE(BM_Open, wave48, wave48);

void BM_OpenReference_sndfile(benchmark::State &state, const fs::path &(*path)())
{
    const fs::path &file = path();
    for (auto _ : state) {
        SF_INFO info{};
        sf_close(sf_open(file.c_str(), SFM_READ, &info));
    }
}
BENCHMARK_CAPTURE(BM_OpenReference_sndfile, wave16, wave16);
BENCHMARK_CAPTURE(BM_OpenReference_sndfile, flac16, flac16);

/// The export's way of writing: planar floats, a slice at a time, to 16-bit AIFF.
void BM_Write(benchmark::State &state)
{
    const fs::path path = wave16().string() + "-out.aiff";
    const auto client = kx::planarFloat(44100, 2);
    const kx::BufferList slice(2, 1, kSlice * 4);
    for (auto _ : state) {
        ExtAudioFileRef file = nullptr;
        ExtAudioFileCreateWithURL(path, kAudioFileAIFFType, &kStandard, nullptr, kAudioFileFlags_EraseFile, &file);
        ExtAudioFileSetProperty(file, kExtAudioFileProperty_ClientDataFormat, sizeof client, &client);
        for (int64_t done = 0; done < kFrames; done += kSlice)
            ExtAudioFileWrite(file, kSlice, slice.get());
        ExtAudioFileDispose(file);
    }
    fs::remove(path);
    countFrames(state, kFrames);
}
BENCHMARK(BM_Write);

/// The bare work: each slice converted into a block of 1 MiB, which is written when it is full.
void BM_WriteReference_convertAndWrite(benchmark::State &state)
{
    const fs::path path = wave16().string() + "-raw";
    std::vector<float> silence(kSlice);
    const std::array<const float *, 2> planes{silence.data(), silence.data()};
    kx::BufferList block(1, 2, 1 << 20);
    constexpr uint32_t blockFrames = (1 << 20) / 4;
    for (auto _ : state) {
        const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        uint32_t used = 0;
        for (int64_t done = 0; done < kFrames; done += kSlice) {
            kx::fromPlanarFloat(kStandard, planes.data(), kSlice, *block.get(), used);
            used += kSlice;
            if (used < blockFrames)
                continue;
            benchmark::DoNotOptimize(write(file, block.data(0), std::size_t{used} * 4));
            used = 0;
        }
        benchmark::DoNotOptimize(write(file, block.data(0), std::size_t{used} * 4));
        close(file);
    }
    fs::remove(path);
    countFrames(state, kFrames);
}
BENCHMARK(BM_WriteReference_convertAndWrite);

void BM_WriteReference_sndfile(benchmark::State &state)
{
    const fs::path path = wave16().string() + "-ref.aiff";
    std::vector<float> slice(2 * kSlice);
    for (auto _ : state) {
        SF_INFO info{0, 44100, 2, SF_FORMAT_AIFF | SF_FORMAT_PCM_16, 0, 0};
        SNDFILE *file = sf_open(path.c_str(), SFM_WRITE, &info);
        for (int64_t done = 0; done < kFrames; done += kSlice)
            sf_writef_float(file, slice.data(), kSlice);
        sf_close(file);
    }
    fs::remove(path);
    countFrames(state, kFrames);
}
BENCHMARK(BM_WriteReference_sndfile);

} // namespace
