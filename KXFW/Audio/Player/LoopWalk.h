#pragma once

#include <cstdint>

namespace kx
{

/// A stretch of audio data to walk through, in bytes of its format.
struct LoopRange {
    int64_t start;         ///< inclusive; below 0 counts as 0
    int64_t end;           ///< exclusive; beyond the data, the data's end counts
    int64_t dataSize;      ///< the size of the whole data
    int64_t bytesPerFrame; ///< offsets are cut to whole frames of this size
    bool loop;             ///< go on from the start after the end; else read on to the end of the data
};

/// What the walk does with the audio it passes. Byte counts are whole frames.
class LoopWalkSource
{
public:
    virtual ~LoopWalkSource() = default;
    /// Reads `bytes` bytes of the data to byte `at` of the destination and returns how many there were.
    virtual int64_t read(int64_t at, int64_t bytes) = 0;
    /// Moves the data to `frame`.
    virtual void seek(int64_t frame) = 0;
    /// Repeats the `bytes` bytes that stand at byte `from` of the destination at byte `at`.
    virtual void repeat(int64_t from, int64_t at, int64_t bytes) = 0;
    /// Whether a read that came up short will bring more later, so that the walk just pauses.
    [[nodiscard]] virtual bool waits() const { return false; }
    /// Whether the data is read further than the walk has come: then a read that is short of the end of the range
    /// passes it all the same, as what is missing was read before or has no room.
    [[nodiscard]] virtual bool readsAhead() const { return false; }
};

struct LoopWalkResult {
    int64_t first;    ///< where the first byte that the destination got was read
    int64_t position; ///< where the next walk starts
    int64_t count;    ///< bytes that the destination got
    bool ended;       ///< without loop: the end of the data was reached, or the data cannot be read on
};

/// Walks `request` bytes from `position` on. With loop, a position outside the range goes to its start first, and each
/// time the end is met the data is sought to the start; N passes are N copies of the range. Where whole passes fit
/// inside one request, one is read, the others are repeated from it, and one seek follows where the walk ends.
/// A read that comes up short ends the walk; when it brings nothing at all because the data ends there, a looping walk
/// tries once from the start. An empty range (start at or beyond the end or the data) gives nothing and leaves the
/// position. Reads are never longer than what is left of the request. [any] [render]
LoopWalkResult walkLoop(const LoopRange &range, int64_t position, int64_t request, LoopWalkSource &source);

} // namespace kx
