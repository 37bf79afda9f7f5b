#include "Apps/kxplayer/Timeline/Overview.h"

#include <algorithm>
#include <cmath>

namespace kxplayer
{

namespace
{

constexpr int64_t blocksOf(int64_t frames, int64_t blockFrames)
{
    return (frames + blockFrames - 1) / blockFrames;
}

} // namespace

void BlockSum::add(const Block &block) noexcept
{
    const auto include = [](Channel &channel, const Extent &extent) {
        channel.least = std::min(channel.least, extent.least);
        channel.greatest = std::max(channel.greatest, extent.greatest);
        channel.squares += double(extent.rms) * extent.rms;
    };
    include(left_, block.left);
    include(right_, block.right);
    ++parts_;
}

void BlockSum::add(std::span<const int16_t> interleaved) noexcept
{
    const auto include = [&](Channel &channel, std::size_t first) {
        int16_t least = channel.least;
        int16_t greatest = channel.greatest;
        int64_t squares = 0;
        for (std::size_t i = first; i < interleaved.size(); i += 2) {
            const int16_t sample = interleaved[i];
            least = std::min(least, sample);
            greatest = std::max(greatest, sample);
            squares += sample * sample;
        }
        channel = {least, greatest, channel.squares + static_cast<double>(squares)};
    };
    include(left_, 0);
    include(right_, 1);
    parts_ += static_cast<int64_t>(interleaved.size() / 2);
}

Extent BlockSum::extentOf(const Channel &channel) const noexcept
{
    if (parts_ == 0)
        return {};
    const double rms = std::sqrt(channel.squares / static_cast<double>(parts_));
    return {channel.least, channel.greatest, static_cast<int16_t>(std::min(rms + 0.5, double(INT16_MAX)))};
}

Block BlockSum::block() const noexcept
{
    return {extentOf(left_), extentOf(right_)};
}

Overview::Level::Level(int64_t frames, int64_t capacity)
    : blockFrames(frames), blocks(std::make_unique<Block[]>(static_cast<std::size_t>(capacity))),
      count(std::make_unique<std::atomic<int64_t>>(0))
{
}

Overview::Overview(int64_t numFrames, int64_t blockFrames) : numFrames_(std::clamp<int64_t>(numFrames, 0, kMostFrames))
{
    while (blocksOf(numFrames_, blockFrames) > kMostBlocks)
        blockFrames *= kBase;
    levels_.emplace_back(blockFrames, blocksOf(numFrames_, blockFrames));
    while (blockFrames < numFrames_) {
        blockFrames *= kBase;
        levels_.emplace_back(blockFrames, blocksOf(numFrames_, blockFrames));
    }
}

void Overview::add(std::span<const int16_t> interleaved)
{
    Level &finest = levels_.front();
    int64_t frames = std::min<int64_t>(static_cast<int64_t>(interleaved.size() / 2), numFrames_ - framesAdded_);
    framesAdded_ += frames;
    while (frames > 0) {
        const int64_t taken = std::min(frames, finest.blockFrames - finest.open.parts());
        const auto samples = static_cast<std::size_t>(taken * 2);
        finest.open.add(interleaved.first(samples));
        interleaved = interleaved.subspan(samples);
        frames -= taken;
        if (finest.open.parts() == finest.blockFrames)
            close(0);
    }
    framesDone_.store(framesAdded_ - finest.open.parts(), std::memory_order_release);
}

void Overview::end()
{
    for (std::size_t level = 0; level < levels_.size(); ++level)
        if (levels_[level].open.parts() > 0)
            close(level);
    framesDone_.store(framesAdded_, std::memory_order_release);
    hasEnded_.store(true, std::memory_order_release);
}

/// Lets the gathered block be read, and passes it on to the coarser levels.
void Overview::close(std::size_t level)
{
    Level &current = levels_[level];
    const int64_t count = current.count->load(std::memory_order_relaxed);
    const Block block = current.open.block();
    current.blocks[static_cast<std::size_t>(count)] = block;
    current.count->store(count + 1, std::memory_order_release);
    current.open = {};
    if (level + 1 < levels_.size()) {
        Level &coarser = levels_[level + 1];
        coarser.open.add(block);
        if (coarser.open.parts() == kBase)
            close(level + 1);
    }
}

std::span<const Block> Overview::blocks(std::size_t level) const
{
    const Level &chosen = levels_.at(level);
    return {chosen.blocks.get(), static_cast<std::size_t>(chosen.count->load(std::memory_order_acquire))};
}

std::optional<Block> Overview::blockOf(int64_t first, int64_t end) const
{
    first = std::max<int64_t>(first, 0);
    end = std::min(end, framesDone());
    if (first >= end)
        return {};
    std::size_t level = 0;
    while (level + 1 < levels_.size() && levels_[level + 1].blockFrames * 2 <= end - first)
        ++level;
    while (level > 0 && static_cast<int64_t>(blocks(level).size()) < blocksOf(end, levels_[level].blockFrames))
        --level;
    const int64_t blockFrames = levels_[level].blockFrames;
    BlockSum sum;
    for (int64_t block = first / blockFrames; block < blocksOf(end, blockFrames); ++block)
        sum.add(levels_[level].blocks[static_cast<std::size_t>(block)]);
    return sum.block();
}

} // namespace kxplayer
