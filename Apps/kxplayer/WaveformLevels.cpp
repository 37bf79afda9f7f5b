#include "Apps/kxplayer/WaveformLevels.h"

#include <algorithm>

namespace kxplayer
{

namespace
{

constexpr int64_t blocksOf(int64_t frames, int64_t blockFrames)
{
    return (frames + blockFrames - 1) / blockFrames;
}

Peak peakOfSamples(std::span<const int16_t> samples) noexcept
{
    Peak peak;
    for (const int16_t sample : samples) {
        peak.least = std::min(peak.least, sample);
        peak.greatest = std::max(peak.greatest, sample);
    }
    return peak;
}

} // namespace

void Peak::include(const Peak &other) noexcept
{
    least = std::min(least, other.least);
    greatest = std::max(greatest, other.greatest);
}

WaveformLevels::Level::Level(int64_t frames, int64_t capacity)
    : blockFrames(frames), blocks(std::make_unique<Peak[]>(static_cast<std::size_t>(capacity))),
      count(std::make_unique<std::atomic<int64_t>>(0))
{
}

WaveformLevels::WaveformLevels(int64_t numFrames) : numFrames_(std::clamp<int64_t>(numFrames, 0, kMostFrames))
{
    int64_t blockFrames = 1;
    while (blocksOf(numFrames_, blockFrames) > kMostBlocks)
        blockFrames *= kBase;
    levels_.emplace_back(blockFrames, blocksOf(numFrames_, blockFrames));
    while (blockFrames < numFrames_) {
        blockFrames *= kBase;
        levels_.emplace_back(blockFrames, blocksOf(numFrames_, blockFrames));
    }
}

void WaveformLevels::add(std::span<const int16_t> interleaved)
{
    Level &finest = levels_.front();
    int64_t frames = std::min<int64_t>(static_cast<int64_t>(interleaved.size() / 2), numFrames_ - framesAdded_);
    framesAdded_ += frames;
    while (frames > 0) {
        const int64_t taken = std::min(frames, finest.blockFrames - finest.parts);
        const auto samples = static_cast<std::size_t>(taken * 2);
        finest.open.include(peakOfSamples(interleaved.first(samples)));
        interleaved = interleaved.subspan(samples);
        frames -= taken;
        finest.parts += taken;
        if (finest.parts == finest.blockFrames)
            close(0);
    }
    framesDone_.store(framesAdded_ - finest.parts, std::memory_order_release);
}

void WaveformLevels::end()
{
    for (std::size_t level = 0; level < levels_.size(); ++level)
        if (levels_[level].parts > 0)
            close(level);
    framesDone_.store(framesAdded_, std::memory_order_release);
    hasEnded_.store(true, std::memory_order_release);
}

/// Lets the gathered block be read, and passes it on to the coarser levels.
void WaveformLevels::close(std::size_t level)
{
    Level &current = levels_[level];
    const int64_t count = current.count->load(std::memory_order_relaxed);
    current.blocks[static_cast<std::size_t>(count)] = current.open;
    current.count->store(count + 1, std::memory_order_release);
    if (level + 1 < levels_.size()) {
        Level &coarser = levels_[level + 1];
        coarser.open.include(current.open);
        if (++coarser.parts == kBase)
            close(level + 1);
    }
    current.open = {};
    current.parts = 0;
}

std::span<const Peak> WaveformLevels::blocks(std::size_t level) const
{
    const Level &chosen = levels_.at(level);
    return {chosen.blocks.get(), static_cast<std::size_t>(chosen.count->load(std::memory_order_acquire))};
}

std::optional<Peak> WaveformLevels::peakOf(int64_t first, int64_t end) const
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
    Peak peak;
    for (int64_t block = first / blockFrames; block < blocksOf(end, blockFrames); ++block)
        peak.include(levels_[level].blocks[static_cast<std::size_t>(block)]);
    return peak;
}

} // namespace kxplayer
