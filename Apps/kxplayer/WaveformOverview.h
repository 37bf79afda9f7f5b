#pragma once

#include "Apps/kxplayer/LatestTask.h"
#include "Apps/kxplayer/WaveformLevels.h"

#include <filesystem>
#include <memory>

namespace kxplayer
{

/// Computes the peaks of a file in the background: on a thread that runs when nothing else wants to, in small reads.
/// A file that cannot be read, or that ends early, has the peaks that could be read; opening it says what is wrong.
/// For the main thread.
class WaveformOverview
{
public:
    /// Starts with a file of `numFrames` frames of 44,100 a second, leaves the one before, and returns at once: the
    /// peaks appear in what comes back.
    std::shared_ptr<const WaveformLevels> open(const std::filesystem::path &file, int64_t numFrames);
    /// Leaves the file; its peaks end where they are.
    void close() { task_.leave(); }

private:
    LatestTask task_{"waveform", LatestTask::Pace::WhenIdle};
};

} // namespace kxplayer
