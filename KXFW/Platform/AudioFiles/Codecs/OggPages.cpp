#include "KXFW/Platform/AudioFiles/Codecs/OggPages.h"

#include <algorithm>
#include <cstring>

namespace kx
{

namespace
{

constexpr int64_t kReadBytes = 64 << 10;
constexpr long kPageHeaderBytes = 27;
/// What only looks like a page costs a checksum over up to 64 KiB, so that many of them would take minutes.
constexpr int64_t kMaximumDamagedPages = 1024;
constexpr long kMaximumPacketBytes = 32 << 20; ///< a cover picture fits; a longer packet is left out

} // namespace

OggPageReader::OggPageReader(ByteSource &source, ByteRange range) noexcept
    : source_(source), range_(range), offset_(range.begin), readOffset_(range.begin), budget_(kMaximumDamagedPages)
{
    ogg_sync_init(&sync_);
}

void OggPageReader::moveTo(int64_t offset) noexcept
{
    restartAt(offset);
    budget_ = kMaximumDamagedPages;
}

void OggPageReader::restartAt(int64_t offset) noexcept
{
    ogg_sync_reset(&sync_);
    offset_ = readOffset_ = offset;
    cutOffset_ = -1;
    hasEnded_ = false;
}

ogg_page *OggPageReader::next() noexcept
{
    while (budget_ > 0 && !hasEnded_) {
        const bool isCandidate = standsAtSignature();
        const long moved = ogg_sync_pageseek(&sync_, &page_);
        if (moved > 0) {
            pageOffset_ = offset_;
            offset_ += moved;
            ++budget_;
            cutOffset_ = -1;
            return &page_;
        }
        budget_ -= isCandidate && moved < 0 ? 1 : 0;
        offset_ -= moved;
        if (moved < 0 || fill())
            continue;
        if (!isAtEnd())
            return nullptr;
        if (!isCandidate)
            return cutPage();
        // It would go on past the end: whole pages may still follow its first byte.
        --budget_;
        const int64_t cut = cutOffset_ < 0 ? offset_ : cutOffset_;
        restartAt(offset_ + 1);
        cutOffset_ = cut;
    }
    return nullptr;
}

/// The page at cutOffset_, if there is one, as if it was written with what is left of it.
ogg_page *OggPageReader::cutPage() noexcept
{
    hasEnded_ = true;
    const int64_t begin = cutOffset_;
    if (begin < 0)
        return nullptr;
    restartAt(begin);
    while (fill()) {
    }
    hasEnded_ = true;
    const auto *const bytes = sync_.data;
    const long left = sync_.fill;
    if (left < kPageHeaderBytes || left < kPageHeaderBytes + bytes[26])
        return nullptr;
    const long headerBytes = kPageHeaderBytes + bytes[26];
    long bodyBytes = 0;
    unsigned char segments = 0;
    for (; segments < bytes[26] && bodyBytes + bytes[kPageHeaderBytes + segments] <= left - headerBytes; ++segments)
        bodyBytes += bytes[kPageHeaderBytes + segments];
    std::memcpy(cutHeader_.data(), bytes, static_cast<std::size_t>(headerBytes));
    cutHeader_[5] &= 0x03;                                  // the stream does not end here
    std::memset(&cutHeader_[6], 0xFF, sizeof(ogg_int64_t)); // and the position at its end is unknown
    cutHeader_[26] = segments;
    page_ = {cutHeader_.data(), kPageHeaderBytes + segments, sync_.data + headerBytes, bodyBytes};
    pageOffset_ = begin;
    return &page_;
}

bool OggPageReader::standsAtSignature() const noexcept
{
    return sync_.fill - sync_.returned >= 4 && std::memcmp(sync_.data + sync_.returned, "OggS", 4) == 0;
}

bool OggPageReader::fill() noexcept
{
    const int64_t wanted = std::min(kReadBytes, range_.end - readOffset_);
    char *const room = wanted > 0 ? ogg_sync_buffer(&sync_, static_cast<long>(wanted)) : nullptr;
    const int64_t got = room != nullptr ? source_.readAt(readOffset_, room, wanted) : 0;
    if (got <= 0)
        return false;
    ogg_sync_wrote(&sync_, static_cast<long>(got));
    readOffset_ += got;
    return true;
}

void OggPackets::add(ogg_page &page) noexcept
{
    if (stream_.body_fill > kMaximumPacketBytes)
        ogg_stream_reset(&stream_);
    ogg_stream_pagein(&stream_, &page);
}

ogg_packet *OggPackets::next() noexcept
{
    while (true) {
        const int found = ogg_stream_packetout(&stream_, &packet_);
        if (found == 0)
            return nullptr;
        if (found > 0) // else pages are missing here
            return &packet_;
    }
}

} // namespace kx
