/// @file
/// What becomes of a range when one of its ends is moved. Ranges lie in a file of `length` frames and last at least a
/// millisecond, or are all of a shorter file.
#pragma once

#include "kx/Frames.h"

#include <cstdint>
#include <span>

namespace kxplayer
{

inline constexpr kx::Frames kLeastRange{45}; ///< a millisecond, rounded up

enum class RangeEnd : std::uint8_t { Start, End };

[[nodiscard]] kx::Range wholeOf(kx::Frames length);
/// From the one to the other, whichever comes first.
[[nodiscard]] kx::Range rangeBetween(kx::Frames one, kx::Frames other, kx::Frames length);
/// The end that is moved stops at the other one.
[[nodiscard]] kx::Range withEndDragged(kx::Range range, RangeEnd end, kx::Frames to, kx::Frames length);
/// A start that is set behind the end moves the end to the file's, an end before the start moves the start to 0.
[[nodiscard]] kx::Range withEndSet(kx::Range range, RangeEnd end, kx::Frames to, kx::Frames length);
[[nodiscard]] RangeEnd endNearTo(kx::Range range, kx::Frames place);

/// The range that a player has to loop over to play on from `line`, which may be outside `range`, until it comes into
/// it: from there to the range's end; behind the end, from the range's start to the file's end.
[[nodiscard]] kx::Range loopOnTheWay(kx::Range range, kx::Frames line, kx::Frames length);

/// The index of the frame nearest to `place` at which both channels' sum is 0 or changes its sign, or `place`.
[[nodiscard]] std::int64_t nearestCrossing(std::span<const std::int16_t> interleaved, std::int64_t place);

} // namespace kxplayer
