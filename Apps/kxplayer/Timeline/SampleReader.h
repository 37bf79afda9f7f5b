#pragma once

#include "Apps/kxplayer/LatestTask.h"
#include "Apps/kxplayer/Timeline/Overview.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

namespace kxplayer
{

/// Frames of a file, sample for sample, with an overview of their own that is finer than the file's.
struct SampleWindow {
    static constexpr int64_t kBlockFrames = 16;

    int64_t first = 0;                ///< the frame in the file at which they begin
    std::vector<int16_t> interleaved; ///< two a frame; fewer than were wanted where the file could not be read
    std::unique_ptr<Overview> overview;

    [[nodiscard]] int64_t end() const noexcept { return first + static_cast<int64_t>(interleaved.size() / 2); }
    [[nodiscard]] bool covers(int64_t from, int64_t to) const noexcept { return first <= from && to <= end(); }
};

/// Reads pieces of a file in the background, of which only the latest is wanted. For the main thread.
class SampleReader
{
public:
    using Taken = std::function<void(const std::shared_ptr<const SampleWindow> &window)>;

    /// Reads from this file from now on, and tells nothing any more of what was asked for before.
    void open(const std::filesystem::path &file);
    /// Reads the frames from `first` up to `end` and gives them to `taken`, on the main thread, unless something else
    /// is asked for before or this is gone by then.
    void read(int64_t first, int64_t end, Taken taken);

private:
    struct OpenFile;

    LatestTask task_{"samples"};
    std::shared_ptr<OpenFile> file_;       ///< shared with the tasks
    std::shared_ptr<const Taken> awaited_; ///< the task has it weakly
};

} // namespace kxplayer
