#pragma once

#include "KXFW/Audio/KXAFilePlayerFields.h"
#include "KXFW/Audio/Player/HeardTimeline.h"
#include "KXFW/Audio/Player/PlayerFields.h"

#include <atomic>
#include <cstdint>

namespace kx
{

/// Bytes of the input format, start inclusive, end exclusive.
struct ByteRange {
    int64_t start;
    int64_t end;
};

/// Where a player is: the position that is read next, the range around it, and the frame that is heard meanwhile.
///
/// The position is the record's byte offset, and the audio data is where it says: both are moved together on the
/// player's queue, by jumps here and by the render path.
class PlaybackPosition
{
public:
    explicit PlaybackPosition(PlayerFields &fields) : fields_(fields) {} ///< Borrows the fields. [any]

    // Bytes of the input format and frames; bytes are limited to what 64 bits hold. All [any] [render].
    [[nodiscard]] int64_t bytesOf(int64_t frames) const;
    [[nodiscard]] int64_t framesOf(int64_t bytes) const;
    [[nodiscard]] int64_t frame() const { return framesOf(fields_.param().byteOffset()); }
    /// Whether the range and the data have no frame in common. [any]
    [[nodiscard]] bool rangeIsEmpty() const;

    bool jumpTo(int64_t byte); ///< False where it is refused. [any] [queue: byteOffsetChangeQueue] [blocks]
    /// Sets the range, then jumps. An export refuses both. [any] [queue: byteOffsetChangeQueue] [blocks]
    bool jumpTo(int64_t byte, const ByteRange &range);
    bool place(int64_t byte);      ///< A jump that nothing refuses. [queue: byteOffsetChangeQueue] [blocks]
    bool jumpIntoRange();          ///< With loop, where the position is outside of it. [any] [blocks]
    void beginFile(int64_t bytes); ///< Of so many bytes, all of which are the range. [queue: byteOffsetChangeQueue]
    /// After a cut: what went into the chain and was not heard will go in again, unless a jump was under way. A file
    /// that cannot be read there is a failure to be told. [any] [queue: byteOffsetChangeQueue] [blocks]
    void takeBackUnheard();

    void restart() { timeline_.restart(frame()); }              ///< The chain is empty. [any]
    void stopped() { timeline_.stop(heardTime().mSampleTime); } ///< [any]
    [[nodiscard]] KXAHeardFrame heard();                        ///< [any]

    // The render path's. All [render] [queue: byteOffsetChangeQueue].
    bool takeJump() noexcept
    {
        return hasJumped_ && hasJumped_.exchange(false);
    }                                                               ///< Once: the next frames follow a jump.
    [[nodiscard]] bool &seekIsDue() noexcept { return seekIsDue_; } ///< The data is not at the position.
    [[nodiscard]] HeardTimeline &timeline() noexcept { return timeline_; }

private:
    template <class Change> bool unlessExporting(Change &&change);
    [[nodiscard]] AudioTimeStamp heardTime() const;
    void seek(KXAFiledAudioData2 &data, int64_t frame);
    [[nodiscard]] int64_t bounded(int64_t byte, int64_t dataSize) const;

    PlayerFields &fields_;
    HeardTimeline timeline_;
    std::atomic<bool> hasJumped_{false};
    bool seekIsDue_ = false; ///< on the queue
};

} // namespace kx
