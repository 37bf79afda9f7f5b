#pragma once

#include "KXFW/Platform/AudioFiles/Codecs/MPEG4Module/MPEG4Track.h"

#include <cstdint>

namespace kx
{

/// Which frames of the straight decode of a track are the file's sound.
struct MPEG4Timeline {
    int64_t skip;   ///< decoded frames to drop in front
    int64_t frames; ///< that follow: the length
};

/// By the edit list if there is one, else by the gapless tag, else all that the track's duration covers. `rate` is the
/// decoder's, `decodable` what all packets decode to: more is never promised.
///
/// An edit's duration is in the movie's coarse units. It only counts where it differs by more than one of them from
/// what is there, which means that the file was cut on purpose. Of several edits only the start is taken.
MPEG4Timeline timelineOf(const MPEG4Track &track, uint32_t rate, int64_t decodable);

} // namespace kx
