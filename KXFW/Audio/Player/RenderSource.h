#pragma once

#include "KXFW/Audio/Player/LoopWalk.h"
#include "KXFW/Audio/Player/PlaybackPosition.h"

#include <atomic>
#include <cstdint>
#include <optional>

namespace kx
{

/// Where a player's sound comes from: gives the chain's first converter the next frames of the file, around the loop,
/// with silence behind the end, and ends the run when all has gone through the chain.
///
/// One slice is one task on the player's queue. Besides, it enters the audio data's queues and, for a moment, the lock
/// of the frame that is heard; it takes no reference to anything.
class RenderSource
{
public:
    /// One read: the walk that was taken, what came of it, and whether a failure ended it.
    struct Read {
        LoopRange range{};
        LoopWalkResult walk{};
        bool failed = false;
    };

    RenderSource(PlayerFields &fields, PlaybackPosition &position); ///< Borrows both. [any]

    /// What the render callback does, and its flags. A failure is kept, and the slice is silent. [render]
    AudioUnitRenderActionFlags render(const AudioTimeStamp &time, uint32_t frames, AudioBuffer &buffer) noexcept;
    /// Reads up to `frames` frames at the position and moves it on. [render] [queue: byteOffsetChangeQueue]
    Read read(void *destination, int64_t frames);

    /// In this player's callback, or in the render of another unit that pulls on the same thread. [any] [render]
    [[nodiscard]] bool isRendering() const noexcept;
    void stopFromInside(); ///< From a render thread: the run ends with this slice. [render]
    void beginRun() noexcept { silentFrames_ = kNothingYet; } ///< The output unit is stopped. [any]

    /// The frames that the chain holds back once the slice under way is done. [any] [render]
    [[nodiscard]] uint32_t heldFrames() const;
    /// Whether the chain may hold any: without an effect or a change of rate none is. [any] [render]
    [[nodiscard]] bool chainMayHold() const;

    // What ended by itself, until it is told or forgotten. All [any].
    [[nodiscard]] bool hasEnded() const noexcept { return hasEnded_; }
    bool takeEnd() noexcept { return hasEnded_.exchange(false); }

    /// Reads of what plays that found the data not read ahead. [any]
    [[nodiscard]] uint64_t underruns() const noexcept { return underruns_.load(std::memory_order_relaxed); }

    // Without loop, the range's end is the end. Both [any] [render].
    void setPlaysRangeOnce(bool once) noexcept { playsRangeOnce_ = once; }
    [[nodiscard]] bool playsRangeOnce() const noexcept { return playsRangeOnce_; }
    /// What an export gives alone, whatever the range is changed to meanwhile; none where it follows the range.
    /// [queue: byteOffsetChangeQueue]
    void setExportedRange(const std::optional<ByteRange> &range) noexcept { exportedRange_ = range; }

private:
    static constexpr int64_t kNothingYet = INT64_MAX / 2;

    [[nodiscard]] bool mayHold(const AudioStreamBasicDescription &input) const noexcept;
    static uint32_t heldFrames(const KXAPlayerParam &param);
    Read readBytes(KXAPlayerParam &param, void *destination, int64_t bytes);
    [[nodiscard]] LoopRange rangeOf(const KXAPlayerParam &param, int64_t dataSize, int64_t bytesPerFrame) const;
    void note(const AudioTimeStamp &time, uint32_t frames, uint32_t held, const Read &read, bool jumps);
    void endOnceHeard(uint32_t frames, uint32_t held, const Read &read);

    PlayerFields &fields_;
    PlaybackPosition &position_;
    int64_t silentFrames_ = kNothingYet; ///< put into the chain since data was; the render thread's
    std::atomic<uint64_t> underruns_{0};
    std::atomic<bool> hasEnded_{false};
    std::atomic<bool> playsRangeOnce_{false};
    std::optional<ByteRange> exportedRange_; ///< on the queue
};

} // namespace kx
