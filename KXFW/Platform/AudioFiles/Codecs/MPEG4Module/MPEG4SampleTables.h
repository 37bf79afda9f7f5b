#pragma once

#include "KXFW/Platform/AudioFiles/Codecs/MPEG4Module/MPEG4Boxes.h"
#include "KXFW/Platform/AudioFiles/Codecs/MPEG4Module/MPEG4Track.h"

namespace kx
{

/// Adds the packets that the tables in `box` list, and limits the track's duration to theirs. False if a table does
/// not fit into its box, or lists more packets than the file can have. [blocks]
bool readMPEG4SampleTables(MPEG4BoxReader &boxes, const MPEG4Box &box, MPEG4Track &track);

} // namespace kx
