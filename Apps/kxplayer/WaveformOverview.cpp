#include "Apps/kxplayer/WaveformOverview.h"

#include "KXFW/KXFWUI.h"
#include "kx/File.h"

#include <exception>
#include <system_error>

namespace kxplayer
{

namespace
{

constexpr uint32_t kReadFrames = 16384; ///< 64 KiB, a third of a second
constexpr uint32_t kChannels = 2;

void readPeaks(const std::filesystem::path &path, WaveformLevels &levels, const std::stop_token &stop)
{
    kx::Result<kx::File> file = kx::File::open(path, stop);
    std::vector<int16_t> samples(std::size_t{kReadFrames} * kChannels);
    for (int64_t done = 0; file && done < levels.numFrames() && !stop.stop_requested();) {
        const std::size_t frames = file->read(samples).valueOr(0);
        if (frames == 0)
            break;
        levels.add(std::span(samples).first(frames * kChannels));
        done += static_cast<int64_t>(frames);
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
