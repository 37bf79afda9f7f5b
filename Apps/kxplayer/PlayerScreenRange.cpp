// The line and the range, and how the player comes to loop over it.
#include "Apps/kxplayer/PlayerScreen.h"

#include <algorithm>
#include <span>

namespace
{

constexpr int64_t kSnapReach = kx::kSampleRate / 100; // frames: 10 ms

/// The frame nearest to the middle of what was read at which the sound crosses zero.
int64_t crossingOf(const kxplayer::SampleWindow &window, int64_t frame)
{
    return window.first + kxplayer::nearestCrossing(window.interleaved, frame - window.first);
}

} // namespace

void kxplayer::PlayerScreen::moveTo(int64_t frame)
{
    if (!isLoaded() || isExporting())
        return;
    place(std::clamp<int64_t>(frame, 0, numFrames()));
    hasJumpedTo(player()->frameOffset());
}

/// While the user drags the range it is shown only: else a loop would follow every place on the way.
kx::Range kxplayer::PlayerScreen::playedRange() const
{
    return rangeBeforeHand_.value_or(range());
}

/// The player's loop would take a position outside the range into it.
void kxplayer::PlayerScreen::place(int64_t frame)
{
    waitsForRange_ = kx::Frames(frame) < playedRange().start || kx::Frames(frame) > playedRange().end;
    if (waitsForRange_)
        player()->setLoop(false);
    player()->setPositionInFrame(frame);
    loopAsWanted(isPlaying());
}

/// On its way to the range the player loops over all that lies between, which it does not come to the end of. While it
/// does not play its range is the user's, as an export takes it.
void kxplayer::PlayerScreen::loopAsWanted(bool playing)
{
    if (!isLoaded() || isExporting())
        return;
    const kx::Range range = playedRange();
    const bool isOnTheWay = waitsForRange_ && loops();
    const kx::Range used =
        isOnTheWay && playing ? loopOnTheWay(range, kx::Frames(player()->frameOffset()), length()) : range;
    player()->setStartOffsetInFrame(used.start.count());
    player()->setEndOffsetInFrame(used.end.count());
    player()->setLoop(loops() && (playing || !isOnTheWay));
}

void kxplayer::PlayerScreen::noteArrival()
{
    const kx::Frames place(player()->frameOffset());
    if (!waitsForRange_ || !isPlaying() || place < playedRange().start || place >= playedRange().end)
        return;
    waitsForRange_ = false;
    loopAsWanted(true);
}

void kxplayer::PlayerScreen::restartLoop()
{
    moveTo(range().start.count());
}

void kxplayer::PlayerScreen::setRangeStart(int64_t frame)
{
    changeRange(withEndSet(range(), RangeEnd::Start, kx::Frames(frame), length()), Change::Single);
}

void kxplayer::PlayerScreen::setRangeEnd(int64_t frame)
{
    changeRange(withEndSet(range(), RangeEnd::End, kx::Frames(frame), length()), Change::Single);
}

void kxplayer::PlayerScreen::nudgeRange(RangeEnd end, kx::Frames by)
{
    const kx::Frames before = end == RangeEnd::Start ? range().start : range().end;
    changeRange(withEndDragged(range(), end, before + by, length()), Change::Nudge);
}

void kxplayer::PlayerScreen::clearRange()
{
    changeRange(wholeOf(length()), Change::Single);
}

void kxplayer::PlayerScreen::changeRange(const kx::Range &range, Change kind)
{
    if (!isLoaded())
        return;
    const kx::Range before = timeline_.range();
    timeline_.setRange(range);
    showRange();
    note(kind);
    if (!rangeBeforeHand_)
        takeRange(before);
}

/// A range that has been selected anew is what is played next, wherever the line was.
void kxplayer::PlayerScreen::takeRange(const kx::Range &before)
{
    const kx::Frames line(shownFrame());
    const bool isInside = line >= range().start && line <= range().end;
    const bool isNew = range().start != before.start && range().end != before.end;
    if (isInside || isNew)
        waitsForRange_ = false;
    if (isNew && !isInside && !isPlaying() && loops())
        moveTo(range().start.count());
    else
        loopAsWanted(isPlaying());
    if (snaps_ && range() != before)
        snapRange();
}

void kxplayer::PlayerScreen::snapRange()
{
    const kx::Range wanted = range();
    const int64_t start = wanted.start.count();
    if (start == 0)
        return snapEnd(wanted, 0);
    snapReader_.read(std::max<int64_t>(start - kSnapReach, 0), std::min(start + kSnapReach, numFrames()),
                     [=, this](const auto &window) { snapEnd(wanted, crossingOf(*window, start)); });
}

/// The rest of it, with the crossing at the start.
void kxplayer::PlayerScreen::snapEnd(const kx::Range &range, int64_t start)
{
    const auto take = [=, this](int64_t end) {
        if (timeline_.range() != range) // it is another one by now
            return;
        timeline_.setRange(rangeBetween(kx::Frames(start), kx::Frames(end), length()));
        showRange();
        history_.change(settings(), step_);
        loopAsWanted(isPlaying());
    };
    const int64_t end = range.end.count();
    if (end == numFrames())
        return take(end);
    snapReader_.read(std::max<int64_t>(end - kSnapReach, 0), std::min(end + kSnapReach, numFrames()),
                     [=](const auto &window) { take(crossingOf(*window, end)); });
}
