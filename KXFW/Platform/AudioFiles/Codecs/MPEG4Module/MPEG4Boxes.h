/// @file
/// A look of our own at the boxes of an MPEG-4 file, ahead of the library's: it refuses counts that would make the
/// library allocate more than the file can justify, and reads the edit lists to the tick.
#pragma once

#include "KXFW/Platform/AudioFiles/Codecs/Decoder.h"

#include <cstdint>
#include <vector>

namespace kx
{

struct MPEG4TrackEdits {
    uint32_t trackID = 0;
    uint32_t count = 0;    ///< of edits that show sound
    int64_t mediaTime = 0; ///< where the first of them begins, in units of the track's time scale
    uint64_t duration = 0; ///< of the first of them, in units of the movie's time scale; 0: to the end
};

struct MPEG4Layout {
    bool isFragmented = false;
    uint32_t movieTimescale = 0; ///< units a second
    std::vector<MPEG4TrackEdits> tracks;
};

/// kAudioFileInvalidFileError for a file whose boxes do not fit into each other or state impossible counts. [blocks]
Result<MPEG4Layout> readMPEG4Layout(ByteSource &source);

} // namespace kx
