#include "KXFW/Platform/AudioFiles/Codecs/MPEG4Module/MPEG4Timeline.h"

#include <algorithm>
#include <cmath>

namespace kx
{

namespace
{

/// A time of `units` units of 1/`timescale` seconds, in frames; at most `limit`, 0 without a time scale.
int64_t framesOf(double units, int64_t timescale, uint32_t rate, int64_t limit)
{
    if (timescale <= 0 || units <= 0)
        return 0;
    const double frames = units * rate / static_cast<double>(timescale);
    return frames >= static_cast<double>(limit) ? limit : std::llround(frames);
}

int64_t editedFrames(const MPEG4Track &track, uint32_t rate, int64_t available)
{
    const MPEG4Edits &edits = track.edits;
    if (edits.count != 1 || edits.duration == 0 || track.movieTimescale == 0)
        return available;
    const int64_t edited = framesOf(static_cast<double>(edits.duration), track.movieTimescale, rate, available);
    const double tick = static_cast<double>(rate) / track.movieTimescale;
    return static_cast<double>(available - edited) > tick ? edited : available;
}

} // namespace

MPEG4Timeline timelineOf(const MPEG4Track &track, uint32_t rate, int64_t decodable)
{
    const int64_t stated = framesOf(static_cast<double>(track.duration), track.timescale, rate, decodable);
    const int64_t end = stated > 0 ? stated : decodable;
    if (track.edits.count > 0) {
        const auto start = static_cast<double>(track.edits.mediaTime);
        const int64_t skip = framesOf(start, track.timescale, rate, end);
        return {skip, editedFrames(track, rate, end - skip)};
    }
    if (track.tag) {
        const int64_t skip = std::min(track.tag->delay, decodable);
        return {skip, std::min(track.tag->frames, decodable - skip)};
    }
    return {0, end};
}

} // namespace kx
