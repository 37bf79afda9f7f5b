#pragma once

#include "Apps/kxplayer/WaveformLevels.h"

#include <QThread>

#include <filesystem>
#include <memory>
#include <vector>

namespace kxplayer
{

/// Computes the peaks of a file in the background: on a thread that runs when nothing else wants to, in small reads.
/// A file that cannot be read, or that ends early, has the peaks that could be read; opening it says what is wrong.
/// For the main thread.
class WaveformOverview
{
public:
    WaveformOverview() = default;
    /// Waits for the read under way, a few milliseconds of the file.
    ~WaveformOverview();
    WaveformOverview(const WaveformOverview &) = delete;
    WaveformOverview &operator=(const WaveformOverview &) = delete;

    /// Starts with a file of `numFrames` frames of 44,100 a second, leaves the one before, and returns at once: the
    /// peaks appear in what comes back.
    std::shared_ptr<const WaveformLevels> open(const std::filesystem::path &file, int64_t numFrames);
    /// Leaves the file; its peaks end where they are.
    void close();

private:
    std::vector<std::unique_ptr<QThread>> threads_; ///< the last one works, those before it are about to end
};

} // namespace kxplayer
