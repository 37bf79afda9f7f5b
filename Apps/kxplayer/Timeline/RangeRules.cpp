#include "Apps/kxplayer/Timeline/RangeRules.h"

#include <algorithm>

namespace kxplayer
{

namespace
{

bool crossesAt(std::span<const int16_t> interleaved, int64_t frame)
{
    const auto sumAt = [&](int64_t at) {
        const auto index = static_cast<std::size_t>(at) * 2;
        return interleaved[index] + interleaved[index + 1];
    };
    if (frame < 0 || frame >= static_cast<int64_t>(interleaved.size() / 2))
        return false;
    return sumAt(frame) == 0 || (frame > 0 && (sumAt(frame - 1) < 0) != (sumAt(frame) < 0));
}

} // namespace

kx::Range wholeOf(kx::Frames length)
{
    return {kx::Frames(0), std::max(length, kx::Frames(0))};
}

kx::Range rangeBetween(kx::Frames one, kx::Frames other, kx::Frames length)
{
    const kx::Frames whole = wholeOf(length).end;
    const kx::Frames least = std::min(kLeastRange, whole);
    const kx::Frames start = std::clamp(std::min(one, other), kx::Frames(0), whole - least);
    return {start, std::clamp(std::max(one, other), start + least, whole)};
}

kx::Range withEndDragged(kx::Range range, RangeEnd end, kx::Frames to, kx::Frames length)
{
    return end == RangeEnd::Start ? rangeBetween(std::min(to, range.end - kLeastRange), range.end, length)
                                  : rangeBetween(range.start, std::max(to, range.start + kLeastRange), length);
}

kx::Range withEndSet(kx::Range range, RangeEnd end, kx::Frames to, kx::Frames length)
{
    if (end == RangeEnd::Start && to >= range.end)
        return rangeBetween(to, length, length);
    if (end == RangeEnd::End && to <= range.start)
        return rangeBetween(kx::Frames(0), to, length);
    return withEndDragged(range, end, to, length);
}

RangeEnd endNearTo(kx::Range range, kx::Frames place)
{
    return place - range.start < range.end - place ? RangeEnd::Start : RangeEnd::End;
}

kx::Range loopOnTheWay(kx::Range range, kx::Frames line, kx::Frames length)
{
    if (line < range.start)
        return {line, range.end};
    return {range.start, line >= range.end ? length : range.end};
}

int64_t nearestCrossing(std::span<const int16_t> interleaved, int64_t place)
{
    const auto frames = static_cast<int64_t>(interleaved.size() / 2);
    for (int64_t distance = 0; distance <= frames; ++distance)
        for (const int64_t frame : {place - distance, place + distance})
            if (crossesAt(interleaved, frame))
                return frame;
    return place;
}

} // namespace kxplayer
