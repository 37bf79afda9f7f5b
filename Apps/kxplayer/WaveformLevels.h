#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace kxplayer
{

/// The least and the greatest sample of some frames, both channels together; nothing yet while least > greatest.
struct Peak {
    int16_t least = INT16_MAX;
    int16_t greatest = INT16_MIN;

    void include(const Peak &other) noexcept;
    bool operator==(const Peak &) const = default;
};

/// The peaks of a file at several resolutions: blocks of a power of 4 frames, each level four times as coarse as the
/// one before it, up to one block for the whole file. The finest level has at most 65,536 blocks, so that files of any
/// length take the same memory, below half a megabyte.
///
/// One thread adds frames in order; others read meanwhile, and nobody waits: a block is written once, then counted.
class WaveformLevels
{
public:
    static constexpr int64_t kBase = 4;
    static constexpr int64_t kMostBlocks = 65536;
    static constexpr int64_t kMostFrames = int64_t{1} << 40;

    /// For a file of `numFrames` frames, taken as 0 to kMostFrames of them.
    explicit WaveformLevels(int64_t numFrames);

    // The writing thread

    /// The next frames, two samples each; what goes beyond the file's length is left out.
    void add(std::span<const int16_t> interleaved);
    /// No more frames come, all of them added or not.
    void end();

    // Any thread

    [[nodiscard]] int64_t numFrames() const noexcept { return numFrames_; }
    /// The frames from the start whose peaks are known.
    [[nodiscard]] int64_t framesDone() const noexcept { return framesDone_.load(std::memory_order_acquire); }
    [[nodiscard]] bool hasEnded() const noexcept { return hasEnded_.load(std::memory_order_acquire); }
    [[nodiscard]] std::size_t levelCount() const noexcept { return levels_.size(); }
    [[nodiscard]] int64_t blockFrames(std::size_t level) const { return levels_.at(level).blockFrames; }
    /// The blocks of a level that are known; the last of the file may be shorter than the others.
    [[nodiscard]] std::span<const Peak> blocks(std::size_t level) const;
    /// The peak of the frames from `first` up to `end`, to the block: of as coarse a level as gives at least two
    /// blocks, finer where that is not known yet. None where no frame of them is known.
    [[nodiscard]] std::optional<Peak> peakOf(int64_t first, int64_t end) const;

private:
    struct Level {
        explicit Level(int64_t frames, int64_t capacity);
        int64_t blockFrames;
        std::unique_ptr<Peak[]> blocks;
        std::unique_ptr<std::atomic<int64_t>> count; ///< blocks that may be read
        Peak open;                                   ///< the block that is being gathered; the writer's
        int64_t parts = 0;                           ///< frames in it, or blocks of the level before; the writer's
    };

    void close(std::size_t level);

    int64_t numFrames_;
    int64_t framesAdded_ = 0; ///< the writer's
    std::vector<Level> levels_;
    std::atomic<int64_t> framesDone_{0};
    std::atomic<bool> hasEnded_{false};
};

} // namespace kxplayer
