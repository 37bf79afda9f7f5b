#include "Apps/kxplayer/Timeline/SampleReader.h"

#include "KXFW/KXFWUI.h"
#include "kx/File.h"

#include <algorithm>
#include <exception>
#include <mutex>
#include <optional>
#include <system_error>
#include <utility>

namespace kxplayer
{

namespace
{

constexpr int64_t kPieceFrames = 16384; ///< after which a read may stop

} // namespace

/// Open from the first read on, for one task at a time.
struct SampleReader::OpenFile {
    explicit OpenFile(std::filesystem::path name) : path(std::move(name)) {}

    std::shared_ptr<const SampleWindow> read(int64_t first, int64_t end, const std::stop_token &stop)
    {
        const std::scoped_lock lock(mutex);
        auto window = std::make_shared<SampleWindow>();
        window->first = first;
        if (!file)
            if (kx::Result<kx::File> opened = kx::File::open(path, stop))
                file.emplace(std::move(*opened));
        if (!file || !file->seek(kx::Frames(first)))
            return finished(std::move(window));
        std::vector<int16_t> &samples = window->interleaved;
        samples.resize(static_cast<std::size_t>(end - first) * 2);
        std::size_t got = 0;
        while (got < samples.size() && !stop.stop_requested()) {
            const std::size_t piece = std::min(samples.size() - got, std::size_t{kPieceFrames} * 2);
            const std::size_t frames = file->read(std::span(samples).subspan(got, piece)).valueOr(0);
            if (frames == 0)
                break;
            got += frames * 2;
        }
        samples.resize(got);
        return finished(std::move(window));
    }

    static std::shared_ptr<const SampleWindow> finished(std::shared_ptr<SampleWindow> window)
    {
        window->overview = std::make_unique<Overview>(window->end() - window->first, SampleWindow::kBlockFrames);
        window->overview->add(window->interleaved);
        window->overview->end();
        return window;
    }

    const std::filesystem::path path;
    std::mutex mutex; ///< guards `file`
    std::optional<kx::File> file;
};

void SampleReader::open(const std::filesystem::path &file)
{
    kx::installToolkit(); // whose main queue the samples come by
    task_.leave();
    awaited_ = nullptr;
    file_ = std::make_shared<OpenFile>(file);
}

void SampleReader::read(int64_t first, int64_t end, Taken taken)
{
    if (!file_ || first >= end)
        return;
    awaited_ = std::make_shared<const Taken>(std::move(taken));
    try {
        task_.start([file = file_, first, end, weak = std::weak_ptr(awaited_)](const std::stop_token &stop) {
            const auto window = file->read(first, end, stop);
            if (!stop.stop_requested())
                kx::MainQueue::async([weak, window] {
                    if (const auto wanted = weak.lock())
                        (*wanted)(window);
                });
        });
    } catch (const std::system_error &failure) {
        NSLog("no samples: %@", failure.what());
    }
}

} // namespace kxplayer
