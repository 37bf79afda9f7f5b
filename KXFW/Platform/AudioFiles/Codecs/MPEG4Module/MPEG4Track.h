#pragma once

#include "KXFW/Platform/AudioFiles/Codecs/Decoder.h"
#include "KXFW/Platform/AudioFiles/Codecs/MPEG4Module/AVObjects.h"
#include "KXFW/Platform/AudioFiles/Codecs/MPEG4Module/MPEG4Boxes.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace kx
{

/// What the text tag of some encoders states about the sound, in frames.
struct MPEG4GaplessTag {
    int64_t delay;
    int64_t frames;
};

/// The first AAC or ALAC track of a file: how its packets are coded and where they lie. Once it is read the demuxer is
/// no longer needed.
struct MPEG4Track {
    struct Packet {
        int64_t position; ///< of its first byte in the file
        uint32_t bytes;
    };

    AVCodecParametersOwner parameters;
    std::vector<Packet> packets; ///< those that the file holds whole, up to the first that it does not
    uint32_t largestPacket = 0;  ///< bytes
    int64_t timescale = 0;       ///< units a second
    int64_t duration = 0;        ///< in these units; 0 if not stated
    MPEG4TrackEdits edits;
    uint32_t movieTimescale = 0; ///< units a second of the edits' durations
    std::optional<MPEG4GaplessTag> tag;
};

inline constexpr uint32_t kMaximumPacketBytes = 1 << 20;

/// kAudioFileUnsupportedDataFormatError if the file has no track of these kinds. [blocks]
Result<MPEG4Track> readMPEG4Track(ByteSource &source);

/// The tag in its text form: hexadecimal numbers of which the second to fourth are delay, padding and length.
std::optional<MPEG4GaplessTag> parseMPEG4GaplessTag(const char *text);

} // namespace kx
