#include "Apps/kxplayer/WaveformOverview.h"

#include "KXFW/KXFW.h"

#include <bit>
#include <exception>
#include <system_error>

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

OpenFile openFile(const std::filesystem::path &path, const std::stop_token &stop)
{
    ExtAudioFileRef opened = nullptr;
    if (ExtAudioFileOpenURL(path, &opened, stop) != noErr)
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

void readPeaks(const std::filesystem::path &path, WaveformLevels &levels, const std::stop_token &stop)
{
    const OpenFile file = openFile(path, stop);
    std::vector<int16_t> samples(std::size_t{kReadFrames} * kChannels);
    for (int64_t done = 0; file && done < levels.numFrames() && !stop.stop_requested();) {
        const std::span<const int16_t> read = readFrames(file.get(), samples);
        if (read.empty())
            break;
        levels.add(read);
        done += static_cast<int64_t>(read.size() / kChannels);
    }
}

} // namespace

std::shared_ptr<const WaveformLevels> WaveformOverview::open(const std::filesystem::path &file, int64_t numFrames)
{
    auto levels = std::make_shared<WaveformLevels>(numFrames);
    const auto fail = [file, levels](const std::exception &exception) {
        NSLog("no waveform of %@: %@", file.string(), exception.what());
        levels->end();
    };
    try {
        task_.start([file, levels, fail](const std::stop_token &stop) {
            try {
                readPeaks(file, *levels, stop);
                levels->end();
            } catch (const std::exception &exception) {
                fail(exception);
            }
        });
    } catch (const std::system_error &exception) {
        fail(exception);
    }
    return levels;
}

} // namespace kxplayer
