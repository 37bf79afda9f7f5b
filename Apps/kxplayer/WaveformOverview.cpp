#include "Apps/kxplayer/WaveformOverview.h"

#include "KXFW/KXFW.h"

#include <bit>
#include <exception>

namespace kxplayer
{

namespace
{

constexpr uint32_t kReadFrames = 16384; ///< 64 KiB, a third of a second
constexpr uint32_t kChannels = 2;

AudioStreamBasicDescription clientFormat()
{
    constexpr uint32_t bytes = kChannels * sizeof(int16_t);
    constexpr uint32_t order = std::endian::native == std::endian::big ? kAudioFormatFlagIsBigEndian : 0U;
    return {44100,
            kAudioFormatLinearPCM,
            kAudioFormatFlagIsSignedInteger | kAudioFormatFlagIsPacked | order,
            bytes,
            1,
            bytes,
            kChannels,
            16,
            0};
}

struct Dispose {
    void operator()(ExtAudioFileRef file) const noexcept { ExtAudioFileDispose(file); }
};
using OpenFile = std::unique_ptr<OpaqueExtAudioFile, Dispose>;

OpenFile openFile(const std::filesystem::path &path)
{
    ExtAudioFileRef opened = nullptr;
    if (ExtAudioFileOpenURL(path, &opened) != noErr)
        return nullptr;
    OpenFile file(opened);
    const AudioStreamBasicDescription format = clientFormat();
    const bool isSet =
        ExtAudioFileSetProperty(opened, kExtAudioFileProperty_ClientDataFormat, sizeof format, &format) == noErr;
    return isSet ? std::move(file) : nullptr;
}

/// The next frames of the file, none where it ends or fails.
std::span<const int16_t> readFrames(ExtAudioFileRef file, std::vector<int16_t> &samples)
{
    const auto bytes = static_cast<uint32_t>(samples.size() * sizeof(int16_t));
    AudioBufferList list{1, {{kChannels, bytes, samples.data()}}};
    uint32_t frames = kReadFrames;
    if (ExtAudioFileRead(file, &frames, &list) != noErr)
        return {};
    return std::span(samples).first(std::size_t{frames} * kChannels);
}

void readPeaks(const std::filesystem::path &path, WaveformLevels &levels)
{
    const OpenFile file = openFile(path);
    std::vector<int16_t> samples(std::size_t{kReadFrames} * kChannels);
    for (int64_t done = 0; file && done < levels.numFrames() && !QThread::currentThread()->isInterruptionRequested();) {
        const std::span<const int16_t> read = readFrames(file.get(), samples);
        if (read.empty())
            break;
        levels.add(read);
        done += static_cast<int64_t>(read.size() / kChannels);
    }
}

} // namespace

WaveformOverview::~WaveformOverview()
{
    close();
    for (const auto &thread : threads_)
        thread->wait();
}

std::shared_ptr<const WaveformLevels> WaveformOverview::open(const std::filesystem::path &file, int64_t numFrames)
{
    close();
    auto levels = std::make_shared<WaveformLevels>(numFrames);
    threads_.emplace_back(QThread::create([file, levels] {
        try {
            readPeaks(file, *levels);
        } catch (const std::exception &exception) {
            NSLog("no waveform of %@: %@", file.string(), exception.what());
        }
        levels->end();
    }));
    threads_.back()->setObjectName("waveform");
    threads_.back()->start(QThread::IdlePriority);
    return levels;
}

void WaveformOverview::close()
{
    if (!threads_.empty())
        threads_.back()->requestInterruption();
    std::erase_if(threads_, [](const auto &thread) { return thread->isFinished(); });
}

} // namespace kxplayer
