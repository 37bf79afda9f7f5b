#pragma once

#include "KXFW/Platform/AudioFiles/Codecs/MPEG4Module/MPEG4Boxes.h"

#include <cstdint>
#include <optional>

namespace kx
{

/// What the text tag of some encoders states about the sound, in frames.
struct MPEG4GaplessTag {
    int64_t delay;
    int64_t frames;
};

/// The tag among the texts of a movie or a track. [blocks]
std::optional<MPEG4GaplessTag> findMPEG4GaplessTag(MPEG4BoxReader &boxes, const MPEG4Box &parent);

} // namespace kx
