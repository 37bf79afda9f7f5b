#include "KXFW/Platform/AudioFiles/Codecs/MPEGFrameDecoder.h"

#include <mpg123.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace kx
{

namespace
{

constexpr std::size_t kMaximumFrameBytes = 4096;

mpg123_handle *makeHandle(const MPEGFrameHeader &format)
{
    constexpr long flags = MPG123_QUIET | MPG123_FORCE_FLOAT | MPG123_IGNORE_INFOFRAME | MPG123_IGNORE_STREAMLENGTH |
                           MPG123_SKIP_ID3V2 | MPG123_NO_READAHEAD;
    static const int initialised = mpg123_init();
    mpg123_handle *handle = initialised == MPG123_OK ? mpg123_new(nullptr, nullptr) : nullptr;
    const int channels = format.channels == 1 ? MPG123_MONO : MPG123_STEREO;
    const auto rate = static_cast<long>(format.rate);
    const bool isSet = handle != nullptr && mpg123_param(handle, MPG123_FLAGS, flags, 0) == MPG123_OK &&
                       mpg123_param(handle, MPG123_RVA, MPG123_RVA_OFF, 0) == MPG123_OK &&
                       mpg123_format_none(handle) == MPG123_OK &&
                       mpg123_format(handle, rate, channels, MPG123_ENC_FLOAT_32) == MPG123_OK &&
                       mpg123_open_feed(handle) == MPG123_OK;
    if (isSet)
        return handle;
    mpg123_delete(handle);
    return nullptr;
}

uint32_t maximumReservoir(const MPEGFrameHeader &header)
{
    return header.version == 10 ? 511 : 255;
}

/// Where the side information of a layer III frame begins: behind the checksum, if the header tells of one.
std::size_t sideOffset(const uint8_t *bytes)
{
    return (bytes[1] & 1) == 0 ? 6 : 4;
}

/// How many bytes before the frame's own the main data begins.
uint32_t mainDataBegin(const MPEGFrameHeader &header, const uint8_t *side)
{
    return header.version == 10 ? static_cast<uint32_t>(side[0]) << 1 | side[1] >> 7 : side[0];
}

} // namespace

void MPEGFrameDecoder::HandleDeleter::operator()(mpg123_handle_struct *handle) const noexcept
{
    mpg123_delete(handle);
}

MPEGFrameDecoder::MPEGFrameDecoder(const MPEGFrameHeader &format)
    : handle_(makeHandle(format)), silenced_(kMaximumFrameBytes)
{
}

void MPEGFrameDecoder::restart() noexcept
{
    mpg123_close(handle_.get());
    mpg123_open_feed(handle_.get());
    reservoirBytes_ = 0;
    isPrimed_ = false;
}

void MPEGFrameDecoder::decode(const MPEGFrameHeader &header, const uint8_t *bytes, std::span<float> sound) noexcept
{
    if (header.layer == 3) {
        if (!std::exchange(isPrimed_, true))
            prime(header, bytes, sound);
        bytes = withoutMissingData(header, bytes);
    }
    if (decodeWhole(bytes, header.bytes, sound))
        return;
    std::fill(sound.begin(), sound.end(), 0.0F);
    restart();
}

/// Decodes a silent frame to nowhere. The library leaves the spectrum of short blocks that end too early as its memory
/// held it, which is that of the frame before, and for the first frame whatever the heap held.
void MPEGFrameDecoder::prime(const MPEGFrameHeader &header, const uint8_t *bytes, std::span<float> sound) noexcept
{
    constexpr std::size_t kHeaderBytes = 4;
    if (header.bytes < kHeaderBytes || header.bytes > silenced_.size())
        return;
    std::fill_n(silenced_.begin(), header.bytes, uint8_t{0});
    std::memcpy(silenced_.data(), bytes, kHeaderBytes);
    silenced_[1] |= 1; // without a checksum
    decodeWhole(silenced_.data(), header.bytes, sound);
}

/// A frame that begins in data that was not seen is given silent side information here: the library does so too, but
/// leaves a byte of it in the versions of low rates, drops the frame, and then its filters are out of step with those
/// of the straight decode.
const uint8_t *MPEGFrameDecoder::withoutMissingData(const MPEGFrameHeader &header, const uint8_t *bytes) noexcept
{
    const std::size_t offset = sideOffset(bytes);
    const uint32_t available = reservoirBytes_;
    reservoirBytes_ = std::min(available + header.bytes - header.sideBytes, maximumReservoir(header));
    if (mainDataBegin(header, bytes + offset) <= available || header.bytes > silenced_.size())
        return bytes;
    std::memcpy(silenced_.data(), bytes, header.bytes);
    uint8_t *side = silenced_.data() + offset;
    std::memset(side, 0, header.sideBytes - offset);
    side[0] = static_cast<uint8_t>(header.version == 10 ? available >> 1 : available);
    side[1] = static_cast<uint8_t>(header.version == 10 ? (available & 1) << 7 : 0);
    return silenced_.data();
}

bool MPEGFrameDecoder::decodeWhole(const uint8_t *bytes, std::size_t count, std::span<float> sound) noexcept
{
    unsigned char *decoded = nullptr;
    std::size_t decodedBytes = 0;
    off_t number = 0;
    int status = mpg123_feed(handle_.get(), bytes, count);
    if (status == MPG123_OK)
        status = mpg123_decode_frame(handle_.get(), &number, &decoded, &decodedBytes);
    if (status == MPG123_NEW_FORMAT)
        status = mpg123_decode_frame(handle_.get(), &number, &decoded, &decodedBytes);
    if (status != MPG123_OK || decodedBytes != sound.size_bytes())
        return false;
    std::memcpy(sound.data(), decoded, decodedBytes);
    return true;
}

} // namespace kx
