/// @file
/// The links of a chained Ogg file: where each begins, what is in it, and how long it is.
#pragma once

#include "KXFW/Platform/AudioFiles/Codecs/OggCodec.h"
#include "KXFW/Platform/AudioFiles/Codecs/OggPages.h"

#include <cstdint>
#include <vector>

namespace kx
{

/// A page at whose first packet decoding can start.
struct OggEntry {
    int64_t offset; ///< of the page
    int64_t frame;  ///< decoded frames in front of what follows the first packet; 0: of the first packet itself
    int packets;    ///< header packets to step over
};

/// One stream of sound, of those that a link may have side by side.
struct OggLink {
    ByteRange bytes; ///< of the link in the file
    uint32_t serial;
    bool isFLAC; ///< FLAC has frames of its own in the packets; what follows is of the other codecs
    DecodedFormat format;
    int64_t skip;                ///< decoded frames in front of the sound
    std::vector<OggEntry> index; ///< empty if there is no sound
};

/// The codec that a link's first header names, with its headers taken from `source`; null if they are gone. [blocks]
std::unique_ptr<OggCodec> makeOggCodec(ByteSource &source, const OggLink &link);
/// The codec of this first packet; null if there is none for it.
std::unique_ptr<OggCodec> makeOggCodec(const ogg_packet &first);

/// Walks over all pages. The length of a link is that of its whole packets, cut where its first and last page say so.
/// A link that cannot be played is left out; fails if that leaves none. [blocks]
StatusOr<std::vector<OggLink>> findOggLinks(ByteSource &source);

} // namespace kx
