#pragma once

#include "KXFW/Platform/AudioFiles/Codecs/MPEG4Module/MPEG4Boxes.h"
#include "KXFW/Platform/AudioFiles/Codecs/MPEG4Module/MPEG4Track.h"

namespace kx
{

/// Adds the packets of a file whose tables come piece by piece, up to the first piece that does not fit, and extends
/// the track's duration to theirs. [blocks]
void readMPEG4Fragments(MPEG4BoxReader &boxes, const MPEG4Box &movie, MPEG4Track &track);

} // namespace kx
