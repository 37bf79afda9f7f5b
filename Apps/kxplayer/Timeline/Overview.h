#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace kxplayer
{

/// The least, the greatest and the root of the mean square of some samples of a channel.
struct Extent {
    int16_t least = INT16_MAX; ///< nothing yet while least > greatest
    int16_t greatest = INT16_MIN;
    int16_t rms = 0;

    bool operator==(const Extent &) const = default;
};

/// Some frames of a file, as they are painted and stored.
struct Block {
    Extent left, right;

    bool operator==(const Block &) const = default;
};
static_assert(sizeof(Block) == 12);

/// Gathers blocks of the same length, or samples, into one.
class BlockSum
{
public:
    void add(const Block &block) noexcept;
    void add(std::span<const int16_t> interleaved) noexcept;
    [[nodiscard]] int64_t parts() const noexcept { return parts_; } ///< Blocks, or frames.
    [[nodiscard]] Block block() const noexcept;

private:
    struct Channel {
        int16_t least = INT16_MAX;
        int16_t greatest = INT16_MIN;
        double squares = 0;
    };
    [[nodiscard]] Extent extentOf(const Channel &channel) const noexcept;

    Channel left_, right_;
    int64_t parts_ = 0;
};

/// What a file looks like at several resolutions: blocks of 1024 frames, or of another power of 4, each level four
/// times as coarse as the one before it, up to one block for the whole. A finest level would have at most 1,048,576
/// blocks, some 6 hours of them; for longer files they are longer, so that 16 MiB hold any.
///
/// One thread adds frames in order; others read meanwhile, and nobody waits: a block is written once, then counted.
class Overview
{
public:
    static constexpr int64_t kBase = 4;
    static constexpr int64_t kBlockFrames = 1024;
    static constexpr int64_t kMostBlocks = int64_t{1} << 20;
    static constexpr int64_t kMostFrames = int64_t{1} << 40;

    /// For `numFrames` frames, taken as 0 to kMostFrames of them.
    explicit Overview(int64_t numFrames, int64_t blockFrames = kBlockFrames);

    // The writing thread

    /// The next frames, two samples each; what goes beyond the file's length is left out.
    void add(std::span<const int16_t> interleaved);
    /// No more frames come, all of them added or not.
    void end();

    // Any thread

    [[nodiscard]] int64_t numFrames() const noexcept { return numFrames_; }
    /// The frames from the start whose blocks are known.
    [[nodiscard]] int64_t framesDone() const noexcept { return framesDone_.load(std::memory_order_acquire); }
    [[nodiscard]] bool hasEnded() const noexcept { return hasEnded_.load(std::memory_order_acquire); }
    [[nodiscard]] std::size_t levelCount() const noexcept { return levels_.size(); }
    [[nodiscard]] int64_t blockFrames(std::size_t level = 0) const { return levels_.at(level).blockFrames; }
    /// The blocks of a level that are known; the last of the file may be shorter than the others.
    [[nodiscard]] std::span<const Block> blocks(std::size_t level) const;
    /// The frames from `first` up to `end`, to the block: of as coarse a level as gives at least two blocks, finer
    /// where that is not known yet. None where no frame of them is known.
    [[nodiscard]] std::optional<Block> blockOf(int64_t first, int64_t end) const;

private:
    struct Level {
        explicit Level(int64_t frames, int64_t capacity);
        int64_t blockFrames;
        std::unique_ptr<Block[]> blocks;
        std::unique_ptr<std::atomic<int64_t>> count; ///< blocks that may be read
        BlockSum open;                               ///< the block that is being gathered; the writer's
    };

    void close(std::size_t level);

    int64_t numFrames_;
    int64_t framesAdded_ = 0; ///< the writer's
    std::vector<Level> levels_;
    std::atomic<int64_t> framesDone_{0};
    std::atomic<bool> hasEnded_{false};
};

} // namespace kxplayer
