/// @file
/// Finds the frames of an MPEG audio file (versions 1, 2 and 2.5, layers I to III) by their headers, so that the length
/// is known to the frame and any frame can be found again, whatever the file's tags say.
#pragma once

#include "KXFW/Platform/AudioFiles/Codecs/Decoder.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace kx
{

struct MPEGFrameHeader {
    uint32_t version; ///< 10, 20 or 25
    uint32_t layer;   ///< 1 to 3
    uint32_t rate;    ///< samples a second
    uint32_t channels;
    uint32_t bytes;     ///< of the whole frame
    uint32_t samples;   ///< a channel, that the frame decodes to
    uint32_t sideBytes; ///< header, checksum and, in layer III, side information: what precedes the main data

    /// What has to stay the same through a file.
    [[nodiscard]] bool matches(const MPEGFrameHeader &other) const noexcept;
};

/// The header that stands in these four bytes, if they are one. Free format (no bit rate given) is not taken.
std::optional<MPEGFrameHeader> parseMPEGFrameHeader(const uint8_t *bytes) noexcept;

struct MPEGFrame {
    int64_t position; ///< of its first byte in the file
    MPEGFrameHeader header;
};

/// The part of the file between ID3v2 tags in front and ID3v1, Lyrics3 and APE tags at the end. [blocks]
ByteRange findMPEGAudioRange(ByteSource &source) noexcept;

/// Walks over the frames of a range, one after the other. What is no frame is stepped over, and so are frames of
/// another format than the first one's. [blocks]
class MPEGFrameWalk
{
public:
    static constexpr int64_t kMaximumJunkBytes = 128 << 10; ///< in front of the first frame

    /// `source` must outlive the walk.
    MPEGFrameWalk(ByteSource &source, ByteRange range);

    /// Finds the first frame and stands in front of it: one that two more of its format follow, or one at the start of
    /// the range if the range ends sooner. False if there is none in the first kMaximumJunkBytes.
    bool start();
    /// The next whole frame; false at the end of the range, or when the bytes cannot be read.
    bool next(MPEGFrame &frame);
    /// The next frame will be the first at or after this byte, where a frame is known to begin.
    void moveTo(int64_t position) noexcept { position_ = position; }
    /// `count` bytes at `position`, valid until the next call; null where the range does not have them.
    const uint8_t *bytesAt(int64_t position, int64_t count);
    /// The format that start() found.
    [[nodiscard]] const MPEGFrameHeader &reference() const noexcept { return reference_; }

private:
    std::optional<MPEGFrameHeader> headerAt(int64_t position);
    std::optional<MPEGFrameHeader> matchingHeaderAt(int64_t position);
    [[nodiscard]] bool isConfirmedStart(int64_t position, const MPEGFrameHeader &header);
    [[nodiscard]] bool isConfirmedFrame(int64_t position, const MPEGFrameHeader &header);
    int64_t nextSyncByte(int64_t position);

    ByteSource &source_;
    ByteRange range_;
    int64_t position_;
    MPEGFrameHeader reference_{};
    std::vector<uint8_t> window_; ///< the bytes of the file from windowBegin_ on
    int64_t windowBegin_ = 0;
    int64_t windowBytes_ = 0;
};

} // namespace kx
