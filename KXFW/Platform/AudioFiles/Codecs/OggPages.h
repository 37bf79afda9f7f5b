/// @file
/// Reads the pages of an Ogg file and the packets in them, whatever lies between the pages.
#pragma once

#include "KXFW/Platform/AudioFiles/Codecs/Decoder.h"

#include <ogg/ogg.h>

#include <array>
#include <cstdint>

namespace kx
{

/// Finds the whole pages of a range of a file, one after the other. What is no page is stepped over. One that the end
/// of the range cuts comes with the whole segments that it has.
class OggPageReader
{
public:
    /// `source` must outlive the reader.
    OggPageReader(ByteSource &source, ByteRange range) noexcept;
    ~OggPageReader() { ogg_sync_clear(&sync_); }
    OggPageReader(const OggPageReader &) = delete;
    OggPageReader &operator=(const OggPageReader &) = delete;

    /// The next page is looked for from this byte of the file on.
    void moveTo(int64_t offset) noexcept;
    /// The next whole page, valid until the next call; null at the end, or when the bytes cannot be read. [blocks]
    ogg_page *next() noexcept;
    /// Where the page that `next` gave begins.
    [[nodiscard]] int64_t pageOffset() const noexcept { return pageOffset_; }
    /// Whether the range has been read to its end.
    [[nodiscard]] bool isAtEnd() const noexcept { return readOffset_ >= range_.end; }

private:
    [[nodiscard]] bool standsAtSignature() const noexcept;
    void restartAt(int64_t offset) noexcept; ///< with what is left of budget_
    bool fill() noexcept;
    ogg_page *cutPage() noexcept;

    ByteSource &source_;
    ByteRange range_;
    ogg_sync_state sync_{};
    ogg_page page_{};
    int64_t offset_;     ///< of the first byte in sync_ that has not been given
    int64_t readOffset_; ///< of the first byte that is not in sync_
    int64_t pageOffset_ = 0;
    int64_t budget_;         ///< damaged pages that may be looked at before the next move
    int64_t cutOffset_ = -1; ///< of the first of them that goes past the end, if no page follows it
    bool hasEnded_ = false;  ///< the page that the end cuts has been given
    std::array<unsigned char, 282> cutHeader_{};
};

/// Puts the packets of one stream together, page by page.
class OggPackets
{
public:
    explicit OggPackets(uint32_t serial) noexcept { ogg_stream_init(&stream_, static_cast<int>(serial)); }
    ~OggPackets() { ogg_stream_clear(&stream_); }
    OggPackets(const OggPackets &) = delete;
    OggPackets &operator=(const OggPackets &) = delete;

    /// Forgets what went before.
    void restart() noexcept { ogg_stream_reset(&stream_); }
    /// Takes a page; one of another stream is left out.
    void add(ogg_page &page) noexcept;
    /// The next packet that is whole, valid until the next call; null when another page is needed.
    ogg_packet *next() noexcept;

private:
    ogg_stream_state stream_{};
    ogg_packet packet_{};
};

} // namespace kx
