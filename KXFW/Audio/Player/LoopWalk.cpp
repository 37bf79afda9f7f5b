#include "KXFW/Audio/Player/LoopWalk.h"

#include <algorithm>

namespace kx
{

namespace
{

/// One walk under way.
class Walk
{
public:
    Walk(const LoopRange &range, int64_t position, int64_t request, LoopWalkSource &source)
        : range_(range), source_(source), request_(request), position_(position),
          turn_(std::min(range.end, range.dataSize))
    {
    }

    LoopWalkResult straight()
    {
        if (position_ < 0)
            moveTo(0);
        const int64_t wanted = std::min(request_, std::max<int64_t>(range_.dataSize - position_, 0));
        const bool whole = advance(wanted);
        return {first(), position_, count_, (!whole && !source_.waits()) || position_ >= range_.dataSize};
    }

    LoopWalkResult around()
    {
        if (position_ < range_.start || position_ > range_.end)
            moveTo(range_.start);
        bool wrapped = false;
        while (count_ < request_) {
            if (position_ >= turn_) {
                moveTo(range_.start);
                wrapped = true;
            }
            if (!pass())
                break;
            repeatPasses();
        }
        if (!wrapped && position_ == range_.dataSize)
            moveTo(range_.start);
        return {first(), position_, count_, false};
    }

private:
    [[nodiscard]] int64_t first() const { return count_ > 0 ? first_ : position_; }

    void moveTo(int64_t position)
    {
        source_.seek(position / range_.bytesPerFrame);
        position_ = position;
    }

    bool advance(int64_t bytes)
    {
        const int64_t got = bytes > 0 ? source_.read(count_, bytes) : 0;
        if (count_ == 0)
            first_ = position_;
        count_ += got;
        position_ += got;
        return got == bytes;
    }

    /// Reads on to the end of the range or of the request; false when the data came up short.
    bool pass()
    {
        if (advance(std::min(request_ - count_, turn_ - position_)))
            return true;
        if (source_.readsAhead())
            return skipToTurn();
        if (count_ > 0 || position_ == range_.start || source_.waits())
            return false;
        moveTo(range_.start); // the data ends before the range does: what there is of it is looped
        advance(std::min(request_ - count_, turn_ - position_));
        return false;
    }

    /// Counts what a read left out as passed; false when the request ends before the turn.
    bool skipToTurn()
    {
        const int64_t missing = turn_ - position_;
        if (count_ + missing > request_ || (count_ + missing == request_ && turn_ < range_.dataSize))
            return false;
        count_ += missing;
        position_ = turn_;
        return true;
    }

    /// Where the destination ends in one whole pass, copies it as often as the request asks.
    void repeatPasses()
    {
        const int64_t length = turn_ - range_.start;
        if (position_ != turn_ || count_ < length || count_ == request_)
            return;
        const int64_t from = count_ - length;
        int64_t last = length;
        while (count_ < request_) {
            last = std::min(length, request_ - count_);
            source_.repeat(from, count_, last);
            count_ += last;
        }
        if (last < length)
            moveTo(range_.start + last);
    }

    LoopRange range_;
    LoopWalkSource &source_;
    int64_t request_;
    int64_t position_;
    int64_t first_ = 0;
    int64_t turn_; ///< where the walk turns back: the end of the range or of the data
    int64_t count_ = 0;
};

int64_t wholeFrames(int64_t bytes, int64_t bytesPerFrame)
{
    return bytes - bytes % bytesPerFrame;
}

} // namespace

LoopWalkResult walkLoop(const LoopRange &range, int64_t position, int64_t request, LoopWalkSource &source)
{
    const int64_t frame = range.bytesPerFrame;
    if (frame <= 0 || request < frame)
        return {position, position, 0, false};
    const LoopRange whole{wholeFrames(std::max<int64_t>(range.start, 0), frame), wholeFrames(range.end, frame),
                          wholeFrames(range.dataSize, frame), frame, range.loop};
    if (whole.start >= whole.end || whole.start >= whole.dataSize)
        return {position, position, 0, false};
    Walk walk(whole, wholeFrames(position, frame), wholeFrames(request, frame), source);
    return range.loop ? walk.around() : walk.straight();
}

} // namespace kx
