#include "KXFW/Audio/HeardTimeline.h"

#include <algorithm>
#include <mutex>

namespace kx
{

void HeardTimeline::clear()
{
    const std::lock_guard guard(lock_);
    first_ = next_;
}

void HeardTimeline::restart()
{
    const std::lock_guard guard(lock_);
    first_ = next_;
    held_ = 0;
}

void HeardTimeline::note(const RenderedSlice &slice) noexcept
{
    const std::lock_guard guard(lock_);
    if (next_ > first_ && slice.output < record(next_ - 1).output)
        first_ = next_; // the output began anew
    const bool sameSlice = next_ > first_ && slice.output == record(next_ - 1).output;
    const int64_t heard = sameSlice ? record(next_ - 1).heard : std::max<int64_t>(entered_ - held_, 0);
    records_[next_ % kRecords] = {slice.output, heard, entered_, slice};
    ++next_;
    first_ = std::max(first_, next_ < kRecords ? 0 : next_ - kRecords);
    entered_ += slice.frames;
    held_ = slice.held;
}

std::optional<int64_t> HeardTimeline::frameAt(double output)
{
    const std::lock_guard guard(lock_);
    if (first_ == next_)
        return std::nullopt;
    told_ = std::max(told_, heardAt(output));
    return positionOf(static_cast<int64_t>(told_));
}

/// On the straight line from the last slice that began at `output` or before to the next one; behind them all, on with
/// the speed of the last two.
double HeardTimeline::heardAt(double output) const noexcept
{
    uint64_t end = next_;
    while (end > first_ && record(end - 1).output > output)
        --end;
    if (end == first_)
        return static_cast<double>(record(first_).heard);
    const Record &begin = record(end - 1);
    const double heard = static_cast<double>(begin.heard) + (output - begin.output) * speedBehind(end - 1);
    return std::min(heard, static_cast<double>(entered_ - held_));
}

/// Frames heard for each frame of the output, from record `index` on.
double HeardTimeline::speedBehind(uint64_t index) const noexcept
{
    const Record &here = record(index);
    const auto speedTo = [&](const Record &other) {
        return static_cast<double>(other.heard - here.heard) / (other.output - here.output);
    };
    if (index + 1 < next_)
        return speedTo(record(index + 1));
    while (index > first_ && record(index).output == here.output)
        --index;
    return record(index).output < here.output ? speedTo(record(index)) : 1;
}

int64_t HeardTimeline::positionOf(int64_t number) const noexcept
{
    uint64_t index = next_ - 1;
    while (index > first_ && record(index).entered > number)
        --index;
    const Record &at = record(index);
    const int64_t position = at.slice.position + std::max<int64_t>(number - at.entered, 0);
    if (position < at.slice.loopEnd)
        return position;
    if (!at.slice.loops || at.slice.loopEnd <= at.slice.loopStart)
        return std::max(at.slice.loopEnd, at.slice.position);
    return at.slice.loopStart + (position - at.slice.loopEnd) % (at.slice.loopEnd - at.slice.loopStart);
}

} // namespace kx
