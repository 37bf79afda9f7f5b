#include "KXFW/Audio/Player/HeardTimeline.h"

#include <algorithm>
#include <mutex>

namespace kx
{

void HeardTimeline::clear(int64_t position)
{
    const std::lock_guard guard(lock_);
    forget(position);
}

void HeardTimeline::restart(int64_t position)
{
    const std::lock_guard guard(lock_);
    forget(position);
    held_ = 0;
}

/// A jump is forgotten too: it was in what went in before, of another file perhaps.
void HeardTimeline::forget(int64_t position) noexcept
{
    waiting_ = position;
    first_ = next_;
    jumped_ = kNone;
}

void HeardTimeline::jump(int64_t position)
{
    const std::lock_guard guard(lock_);
    jumped_ = entered_;
    jumpedTo_ = position;
}

void HeardTimeline::stop(double output)
{
    const std::lock_guard guard(lock_);
    if (first_ == next_)
        return;
    told_ = std::max(told_, heardAt(output));
    if (told_ <= static_cast<double>(jumped_))
        forget(jumpedTo_);
}

void HeardTimeline::note(const RenderedSlice &slice) noexcept
{
    const std::lock_guard guard(lock_);
    if (next_ > first_ && slice.output < record(next_ - 1).output)
        first_ = next_; // the output began anew
    if (continues(slice)) {
        Record &last = records_[(next_ - 1) % kRecords];
        last.slice.frames += slice.frames;
        last.slice.read += slice.read;
    } else {
        append(slice);
    }
    entered_.store(entered_ + slice.frames, std::memory_order_release); // under the lock
    held_ = slice.held;
}

/// Whether the last record may take in the slice, because the file is read straight on and not much was rendered since.
bool HeardTimeline::continues(const RenderedSlice &slice) const noexcept
{
    constexpr double kGrain = 512;
    if (first_ == next_)
        return false;
    const Record &last = record(next_ - 1);
    return !slice.jumps && slice.output - last.output < kGrain && last.slice.read == last.slice.frames &&
           last.slice.position + last.slice.read == slice.position && slice.position < slice.loopEnd &&
           last.slice.loopStart == slice.loopStart && last.slice.loopEnd == slice.loopEnd &&
           last.slice.loops == slice.loops;
}

void HeardTimeline::append(const RenderedSlice &slice) noexcept
{
    const bool sameSlice = next_ > first_ && slice.output == record(next_ - 1).output;
    const int64_t heard = sameSlice ? record(next_ - 1).heard : std::max<int64_t>(entered_ - held_, 0);
    if (slice.jumps)
        entered_ = heard; // the numbers of what is let go are given anew
    if (slice.jumps && jumped_ != kNone)
        jumped_ = heard;
    records_[next_ % kRecords] = {slice.output, heard, entered_, slice};
    ++next_;
    first_ = std::max(first_, next_ < kRecords ? 0 : next_ - kRecords);
}

int64_t HeardTimeline::frameAt(double output)
{
    const std::lock_guard guard(lock_);
    if (first_ == next_)
        return waiting_;
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
    const int64_t position = at.slice.position + std::clamp<int64_t>(number - at.entered, 0, at.slice.read);
    if (position < at.slice.loopEnd)
        return position;
    if (!at.slice.loops || at.slice.loopEnd <= at.slice.loopStart)
        return std::max(at.slice.loopEnd, at.slice.position);
    return at.slice.loopStart + (position - at.slice.loopEnd) % (at.slice.loopEnd - at.slice.loopStart);
}

} // namespace kx
