#pragma once

#include "Apps/kxplayer/LatestTask.h"
#include "Apps/kxplayer/Timeline/Overview.h"

#include <filesystem>
#include <memory>

namespace kxplayer
{

/// Computes what a file looks like in the background: on a thread that runs when nothing else wants to, in small reads.
/// A file that cannot be read, or that ends early, shows what could be read; opening it says what is wrong.
/// For the main thread.
class OverviewReader
{
public:
    /// Starts with a file of `numFrames` frames of 44,100 a second, leaves the one before, and returns at once: the
    /// peaks appear in what comes back.
    std::shared_ptr<const Overview> open(const std::filesystem::path &file, int64_t numFrames);
    /// Leaves the file; it ends where it is.
    void close() { task_.leave(); }

private:
    LatestTask task_{"waveform", LatestTask::Pace::WhenIdle};
};

} // namespace kxplayer
