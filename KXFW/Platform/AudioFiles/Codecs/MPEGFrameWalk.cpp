#include "KXFW/Platform/AudioFiles/Codecs/MPEGFrameWalk.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace kx
{

namespace
{

constexpr int64_t kWindowBytes = 16 << 10;
constexpr int64_t kHeaderBytes = 4;

/// In 1,000 bits a second, by the header's index.
constexpr uint16_t kBitRates[5][16] = {
    {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448, 0}, // version 1, layer I
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384, 0},    // version 1, layer II
    {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 0},     // version 1, layer III
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256, 0},    // versions 2 and 2.5, layer I
    {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160, 0},         // versions 2 and 2.5, layers II and III
};
constexpr uint32_t kRates[3] = {44100, 48000, 32000};
constexpr uint32_t kVersions[4] = {25, 0, 20, 10};

uint32_t bitRateOf(const MPEGFrameHeader &header, uint32_t index)
{
    const uint32_t row = header.version == 10 ? header.layer - 1 : std::min(header.layer, 2U) + 2;
    return kBitRates[row][index] * 1000U;
}

uint32_t samplesOf(const MPEGFrameHeader &header)
{
    if (header.layer == 1)
        return 384;
    return header.layer == 3 && header.version != 10 ? 576 : 1152;
}

uint32_t sideBytesOf(const MPEGFrameHeader &header, bool hasChecksum)
{
    const uint32_t head = hasChecksum ? 6 : 4;
    if (header.layer != 3)
        return head;
    if (header.version == 10)
        return head + (header.channels == 1 ? 17 : 32);
    return head + (header.channels == 1 ? 9 : 17);
}

/// Bytes of the ID3v2 tag that begins here, 0 if none does.
int64_t id3v2Bytes(ByteSource &source, int64_t position)
{
    std::array<uint8_t, 10> head{};
    if (source.readAt(position, head.data(), 10) != 10 || std::memcmp(head.data(), "ID3", 3) != 0)
        return 0;
    if (head[3] == 0xFF || head[4] == 0xFF || ((head[6] | head[7] | head[8] | head[9]) & 0x80) != 0)
        return 0;
    const int64_t body = int64_t{head[6]} << 21 | head[7] << 14 | head[8] << 7 | head[9];
    return 10 + body + ((head[5] & 0x10) != 0 ? 10 : 0);
}

/// Bytes of the APE tag that ends here, 0 if none does.
int64_t apeBytes(ByteSource &source, int64_t end)
{
    std::array<uint8_t, 32> foot{};
    if (end < 32 || source.readAt(end - 32, foot.data(), 32) != 32 || std::memcmp(foot.data(), "APETAGEX", 8) != 0)
        return 0;
    const int64_t body = foot[12] | foot[13] << 8 | foot[14] << 16 | int64_t{foot[15]} << 24;
    const bool hasHeader = (foot[23] & 0x80) != 0;
    return body < 32 ? 0 : body + (hasHeader ? 32 : 0);
}

/// Bytes of the Lyrics3 tag that ends here, 0 if none does.
int64_t lyricsBytes(ByteSource &source, int64_t end)
{
    std::array<char, 15> foot{};
    if (end < 15 || source.readAt(end - 15, foot.data(), 15) != 15 || std::memcmp(&foot[6], "LYRICS200", 9) != 0)
        return 0;
    int64_t body = 0;
    for (std::size_t i = 0; i < 6; ++i) {
        if (foot[i] < '0' || foot[i] > '9')
            return 0;
        body = body * 10 + (foot[i] - '0');
    }
    return body + 15;
}

int64_t id3v1Bytes(ByteSource &source, int64_t end)
{
    std::array<char, 3> head{};
    if (end < 128 || source.readAt(end - 128, head.data(), 3) != 3)
        return 0;
    return std::memcmp(head.data(), "TAG", 3) == 0 ? 128 : 0;
}

} // namespace

bool MPEGFrameHeader::matches(const MPEGFrameHeader &other) const noexcept
{
    return version == other.version && layer == other.layer && rate == other.rate && channels == other.channels;
}

std::optional<MPEGFrameHeader> parseMPEGFrameHeader(const uint8_t *bytes) noexcept
{
    const uint32_t layerBits = bytes[1] >> 1 & 3;
    const uint32_t rateIndex = bytes[2] >> 2 & 3;
    if (bytes[0] != 0xFF || (bytes[1] & 0xE0) != 0xE0 || layerBits == 0 || rateIndex == 3)
        return std::nullopt;
    MPEGFrameHeader header{};
    header.version = kVersions[bytes[1] >> 3 & 3];
    if (header.version == 0)
        return std::nullopt;
    header.layer = 4 - layerBits;
    header.rate = kRates[rateIndex] / (header.version == 10 ? 1U : header.version == 20 ? 2U : 4U);
    header.channels = bytes[3] >> 6 == 3 ? 1 : 2;
    header.samples = samplesOf(header);
    header.sideBytes = sideBytesOf(header, (bytes[1] & 1) == 0);
    const uint32_t slotBytes = header.layer == 1 ? 4 : 1;
    const uint32_t padding = bytes[2] >> 1 & 1;
    const uint32_t bitRate = bitRateOf(header, bytes[2] >> 4);
    header.bytes = (header.samples / 8 / slotBytes * bitRate / header.rate + padding) * slotBytes;
    if (bitRate == 0 || header.bytes <= header.sideBytes)
        return std::nullopt;
    return header;
}

ByteRange findMPEGAudioRange(ByteSource &source) noexcept
{
    ByteRange range{0, source.size()};
    for (int tags = 0; tags < 16; ++tags) {
        const int64_t bytes = id3v2Bytes(source, range.begin);
        if (bytes == 0)
            break;
        range.begin = std::min(range.begin + bytes, range.end);
    }
    for (int tags = 0; tags < 16; ++tags) {
        int64_t bytes = id3v1Bytes(source, range.end);
        if (bytes == 0)
            bytes = apeBytes(source, range.end);
        if (bytes == 0)
            bytes = lyricsBytes(source, range.end);
        if (bytes == 0 || bytes > range.end - range.begin)
            break;
        range.end -= bytes;
    }
    return range;
}

MPEGFrameWalk::MPEGFrameWalk(ByteSource &source, ByteRange range)
    : source_(source), range_(range), position_(range.begin), window_(static_cast<std::size_t>(kWindowBytes))
{
}

const uint8_t *MPEGFrameWalk::bytesAt(int64_t position, int64_t count)
{
    if (position < range_.begin || count > kWindowBytes || position > range_.end - count)
        return nullptr;
    if (position < windowBegin_ || position + count > windowBegin_ + windowBytes_) {
        const int64_t wanted = std::min(kWindowBytes, range_.end - position);
        windowBegin_ = position;
        windowBytes_ = std::max<int64_t>(0, source_.readAt(position, window_.data(), wanted));
        if (windowBytes_ < count)
            return nullptr;
    }
    return window_.data() + (position - windowBegin_);
}

std::optional<MPEGFrameHeader> MPEGFrameWalk::headerAt(int64_t position)
{
    const uint8_t *bytes = bytesAt(position, kHeaderBytes);
    return bytes == nullptr ? std::nullopt : parseMPEGFrameHeader(bytes);
}

std::optional<MPEGFrameHeader> MPEGFrameWalk::matchingHeaderAt(int64_t position)
{
    const auto header = headerAt(position);
    return header && header->matches(reference_) ? header : std::nullopt;
}

/// The first position from `position` on that holds 0xFF, or the end of the range.
int64_t MPEGFrameWalk::nextSyncByte(int64_t position)
{
    while (const uint8_t *bytes = bytesAt(position, 1)) {
        const int64_t count = windowBegin_ + windowBytes_ - position;
        if (const void *found = std::memchr(bytes, 0xFF, static_cast<std::size_t>(count)))
            return position + (static_cast<const uint8_t *>(found) - bytes);
        position += count;
    }
    return range_.end;
}

bool MPEGFrameWalk::isConfirmedStart(int64_t position, const MPEGFrameHeader &header)
{
    int64_t next = position + header.bytes;
    if (next > range_.end)
        return false;
    for (int more = 0; more < 2; ++more) {
        const bool endsHere = next > range_.end - kHeaderBytes;
        if (endsHere)
            return position == range_.begin;
        const auto following = headerAt(next);
        if (!following || !following->matches(header))
            return false;
        next += following->bytes;
    }
    return true;
}

bool MPEGFrameWalk::isConfirmedFrame(int64_t position, const MPEGFrameHeader &header)
{
    const int64_t next = position + header.bytes;
    return next == range_.end || (next < range_.end && matchingHeaderAt(next));
}

bool MPEGFrameWalk::start()
{
    const int64_t limit = std::min(range_.end, range_.begin + kMaximumJunkBytes);
    for (int64_t at = nextSyncByte(range_.begin); at < limit; at = nextSyncByte(at + 1)) {
        const auto header = headerAt(at);
        if (header && isConfirmedStart(at, *header)) {
            reference_ = *header;
            position_ = at;
            return true;
        }
    }
    return false;
}

bool MPEGFrameWalk::next(MPEGFrame &frame)
{
    auto header = matchingHeaderAt(position_);
    int64_t at = position_;
    if (!header || header->bytes > range_.end - at) {
        header.reset();
        while (!header && (at = nextSyncByte(at + 1)) < range_.end) {
            header = matchingHeaderAt(at);
            if (header && !isConfirmedFrame(at, *header))
                header.reset();
        }
    }
    if (!header)
        return false;
    frame = {at, *header};
    position_ = at + header->bytes;
    return true;
}

} // namespace kx
