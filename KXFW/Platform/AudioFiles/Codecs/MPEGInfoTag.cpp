#include "KXFW/Platform/AudioFiles/Codecs/MPEGInfoTag.h"

#include <algorithm>
#include <cstring>

namespace kx
{

namespace
{

constexpr int64_t kDecoderDelay = 529; ///< samples by which every layer III decoder is late

uint32_t bigEndian32(const uint8_t *bytes)
{
    return uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 | bytes[3];
}

bool startsWith(const uint8_t *bytes, const char *text)
{
    return std::memcmp(bytes, text, 4) == 0;
}

/// Reads the fields behind the four letters; `room` bytes of the frame are left from there.
MPEGInfoTag parseFields(const uint8_t *fields, int64_t room)
{
    constexpr uint32_t hasFrames = 1;
    constexpr uint32_t hasBytes = 2;
    constexpr uint32_t hasTable = 4;
    constexpr uint32_t hasQuality = 8;
    constexpr int64_t trimOffset = 21; // behind the encoder's name
    MPEGInfoTag tag{};
    if (room < 4)
        return tag;
    const uint32_t flags = bigEndian32(fields);
    int64_t at = 4;
    if ((flags & hasFrames) != 0 && room >= at + 4)
        tag.frames = bigEndian32(fields + at);
    at += (flags & hasFrames) != 0 ? 4 : 0;
    at += (flags & hasBytes) != 0 ? 4 : 0;
    at += (flags & hasTable) != 0 ? 100 : 0;
    at += (flags & hasQuality) != 0 ? 4 : 0;
    if (room < at + trimOffset + 3 || fields[at] == 0)
        return tag;
    const uint8_t *trim = fields + at + trimOffset;
    tag.delay = trim[0] << 4 | trim[1] >> 4;
    tag.padding = (trim[1] & 15) << 8 | trim[2];
    tag.hasTrim = tag.delay != 0 || tag.padding != 0;
    return tag;
}

} // namespace

std::optional<MPEGInfoTag> parseMPEGInfoTag(const MPEGFrameHeader &header, const uint8_t *frame) noexcept
{
    constexpr int64_t otherTagOffset = 36;
    if (header.layer != 3)
        return std::nullopt;
    if (header.bytes >= otherTagOffset + 4 && startsWith(frame + otherTagOffset, "VBRI"))
        return MPEGInfoTag{};
    // Behind the side information; some encoders forget the two bytes of the checksum.
    for (const int64_t at : {int64_t{header.sideBytes}, int64_t{header.sideBytes} - 2}) {
        if (header.bytes >= at + 4 && (startsWith(frame + at, "Xing") || startsWith(frame + at, "Info")))
            return parseFields(frame + at + 4, header.bytes - at - 4);
    }
    return std::nullopt;
}

MPEGTrim trimOf(const std::optional<MPEGInfoTag> &tag, int64_t frameCount, int64_t samplesPerFrame) noexcept
{
    const int64_t decoded = frameCount * samplesPerFrame;
    if (!tag || !tag->hasTrim)
        return {0, decoded};
    // A file cut short has lost its padding first; one that is longer than stated is believed to end with it.
    const int64_t whole = std::max(frameCount, tag->frames.value_or(frameCount)) * samplesPerFrame;
    const int64_t skip = std::min(tag->delay + kDecoderDelay, decoded);
    const int64_t end = std::min(whole - tag->padding + kDecoderDelay, decoded);
    return {skip, std::max<int64_t>(0, end - skip)};
}

} // namespace kx
