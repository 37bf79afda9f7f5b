#pragma once

#include "KXFW/Platform/AudioUnits/Units/PlanarBuffer.h"

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <cstring>

namespace kx
{

/// A stretch of a float signal in fixed memory, one plane a channel, its frames known by their numbers in the signal:
/// frames are appended behind, read anywhere, and let go in front. One thread at a time.
class PlanarFifo
{
public:
    PlanarFifo(uint32_t channels, uint32_t capacity) // [any]
        : channels_(channels), capacity_(capacity), memory_(channels, capacity)
    {
    }

    /// Empty, with the next frame to be appended being number `next`. [any] [render]
    void restart(int64_t next) noexcept { base_ = begin_ = end_ = next; }

    [[nodiscard]] uint32_t channels() const noexcept { return channels_; } ///< [any] [render]
    [[nodiscard]] int64_t begin() const noexcept { return begin_; }        ///< The first frame held. [any] [render]
    [[nodiscard]] int64_t end() const noexcept { return end_; }            ///< Behind the last one. [any] [render]

    /// Frame `index` and those behind it, of one channel. [any] [render]
    [[nodiscard]] float *at(uint32_t channel, int64_t index) noexcept
    {
        return memory_.planes()[channel] + (index - base_);
    }
    [[nodiscard]] const float *at(uint32_t channel, int64_t index) const noexcept
    {
        assert(index >= begin_ && index <= end_);
        return memory_.planes()[channel] + (index - base_);
    }

    /// Makes room for `frames` more, which must fit beside the frames held. They count once `append` says so; until
    /// then they are at `at(channel, end())`. [any] [render]
    void reserve(uint32_t frames) noexcept
    {
        if (end_ - base_ + frames <= capacity_)
            return;
        for (uint32_t i = 0; i < channels_; ++i)
            std::memmove(memory_.planes()[i], at(i, begin_), static_cast<std::size_t>(end_ - begin_) * sizeof(float));
        base_ = begin_;
        assert(end_ - base_ + frames <= capacity_);
    }
    void append(uint32_t frames) noexcept { end_ += frames; } ///< [any] [render]

    /// Lets go of the frames from `index` on. [any] [render]
    void dropFrom(int64_t index) noexcept { end_ = std::clamp(index, begin_, end_); }
    /// Lets go of the frames before `index`. [any] [render]
    void dropBefore(int64_t index) noexcept { begin_ = std::clamp(index, begin_, end_); }

private:
    uint32_t channels_;
    int64_t capacity_;
    PlanarBuffer memory_;
    int64_t base_ = 0; ///< the frame at the memory's start
    int64_t begin_ = 0;
    int64_t end_ = 0;
};

} // namespace kx
