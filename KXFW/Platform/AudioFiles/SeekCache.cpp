#include "KXFW/Platform/AudioFiles/SeekCache.h"

#include "KXFW/Platform/AudioFiles/ClientFormat.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace kx
{

namespace
{

constexpr double kSegmentSeconds = 1.5;
constexpr uint32_t kMaximumBytes = 800'000;

} // namespace

SeekCache::SeekCache(const AudioStreamBasicDescription &client) noexcept
    : client_(client), buffers_(bufferCount(client)),
      capacity_(std::min(static_cast<uint32_t>(kSegmentSeconds * client.mSampleRate),
                         kMaximumBytes / uint32_t{kSegments} / (buffers_ * client.mBytesPerFrame)))
{
}

void SeekCache::aim(int64_t frame) noexcept
{
    if (!memory_) // without memory there is just no cache
        memory_.reset(new (std::nothrow)
                          std::byte[std::size_t{kSegments} * buffers_ * capacity_ * client_.mBytesPerFrame]);
    recordEnd_ = frame + capacity_;
}

uint32_t SeekCache::copy(int64_t frame, uint32_t frames, AudioBufferList &out, uint32_t first) noexcept
{
    Segment *segment = holding(frame);
    if (!segment)
        return 0;
    segment->lastUse = ++uses_;
    const auto skipped = static_cast<uint32_t>(frame - segment->start);
    const uint32_t count = std::min(frames, segment->count - skipped);
    for (uint32_t b = 0; b < buffers_; ++b)
        std::memcpy(frameAt(client_, out, b, first), place(*segment, b, skipped),
                    std::size_t{count} * client_.mBytesPerFrame);
    return count;
}

void SeekCache::record(int64_t frame, uint32_t frames, const AudioBufferList &in, uint32_t first) noexcept
{
    if (!memory_)
        return;
    const int64_t end = std::min(frame + frames, recordEnd_);
    while (frame < end) {
        Segment &segment = segmentToExtend(frame);
        const auto count = static_cast<uint32_t>(std::min<int64_t>(end - frame, capacity_ - segment.count));
        for (uint32_t b = 0; b < buffers_; ++b)
            std::memcpy(place(segment, b, segment.count), frameAt(client_, in, b, first),
                        std::size_t{count} * client_.mBytesPerFrame);
        segment.count += count;
        segment.lastUse = ++uses_;
        frame += count;
        first += count;
    }
}

SeekCache::Segment *SeekCache::holding(int64_t frame) noexcept
{
    const auto ends = [](const Segment &s) { return s.start + s.count; };
    Segment *best = nullptr;
    for (Segment &s : segments_)
        if (frame >= s.start && frame < ends(s) && (!best || ends(s) > ends(*best)))
            best = &s;
    return best;
}

/// The segment that ends at `frame` and has room, or the least recently used one, emptied.
SeekCache::Segment &SeekCache::segmentToExtend(int64_t frame) noexcept
{
    for (Segment &s : segments_)
        if (s.count > 0 && s.count < capacity_ && s.start + s.count == frame)
            return s;
    Segment &oldest = *std::ranges::min_element(segments_, {}, &Segment::lastUse);
    oldest = {frame, 0, 0};
    return oldest;
}

std::byte *SeekCache::place(const Segment &segment, uint32_t buffer, uint32_t frame) const noexcept
{
    const auto index = static_cast<std::size_t>(&segment - segments_.data());
    return memory_.get() + ((index * buffers_ + buffer) * capacity_ + frame) * client_.mBytesPerFrame;
}

} // namespace kx
