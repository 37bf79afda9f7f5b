#pragma once

#include "KXFW/Platform/AudioFiles/Codecs/MPEG4Module/AVObjects.h"
#include "KXFW/Platform/AudioFiles/Codecs/MPEG4Module/MPEG4Boxes.h"

namespace kx
{

/// How the packets of the track in a 'trak' box are coded, by the first entry of its sample description; null unless
/// that is AAC or ALAC. ALAC's extradata are its whole box, with its head. [blocks]
AVCodecParametersOwner readMPEG4SampleEntry(MPEG4BoxReader &boxes, const MPEG4Box &track);

} // namespace kx
