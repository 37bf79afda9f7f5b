#include "Apps/kxplayer/Timeline/OverviewReader.h"

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

void readBlocks(const std::filesystem::path &path, Overview &overview, const std::stop_token &stop)
{
    kx::Result<kx::File> file = kx::File::open(path, stop);
    std::vector<int16_t> samples(std::size_t{kReadFrames} * kChannels);
    for (int64_t done = 0; file && done < overview.numFrames() && !stop.stop_requested();) {
        const std::size_t frames = file->read(samples).valueOr(0);
        if (frames == 0)
            break;
        overview.add(std::span(samples).first(frames * kChannels));
        done += static_cast<int64_t>(frames);
    }
}

} // namespace

std::shared_ptr<const Overview> OverviewReader::open(const std::filesystem::path &file, int64_t numFrames)
{
    auto overview = std::make_shared<Overview>(numFrames);
    const auto fail = [file, overview](const std::exception &exception) {
        NSLog("no waveform of %@: %@", file.string(), exception.what());
        overview->end();
    };
    try {
        task_.start([file, overview, fail](const std::stop_token &stop) {
            try {
                readBlocks(file, *overview, stop);
                overview->end();
            } catch (const std::exception &exception) {
                fail(exception);
            }
        });
    } catch (const std::system_error &exception) {
        fail(exception);
    }
    return overview;
}

} // namespace kxplayer
