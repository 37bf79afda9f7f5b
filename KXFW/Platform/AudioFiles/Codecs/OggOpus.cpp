/// Opus in Ogg, decoded at 48,000 frames a second whatever rate the source had.
#include "KXFW/Platform/AudioFiles/Codecs/OggCodec.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <opus/opus_multistream.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <new>
#include <vector>

namespace kx
{

namespace
{

constexpr int kRate = 48000;
constexpr int kLongestPacket = 5760; ///< 120 ms
constexpr std::size_t kPlainHeaderBytes = 19;

/// What the first packet says.
struct OpusHeader {
    int channels;
    int64_t delay;
    int gain; ///< in 1/256 dB
    int streams = 1;
    int coupledStreams = 0;
    std::array<unsigned char, 255> mapping{0, 1}; ///< of decoded channels, in the order of WAVE
};

/// A few bytes could ask for a decoder of megabytes. Encoders write no more streams than there are channels to hear.
bool isBearable(const OpusHeader &header)
{
    const int decoded = header.streams + header.coupledStreams;
    if (header.streams < 1 || header.coupledStreams > header.streams || decoded > header.channels ||
        header.channels > static_cast<int>(kMaximumChannels))
        return false;
    constexpr unsigned char silent = 255;
    return std::all_of(header.mapping.begin(), header.mapping.begin() + header.channels,
                       [decoded](unsigned char from) { return from < decoded || from == silent; });
}

std::optional<OpusHeader> parseHeader(const ogg_packet &packet)
{
    const unsigned char *bytes = packet.packet;
    const auto count = static_cast<std::size_t>(packet.bytes);
    if (count < kPlainHeaderBytes || (bytes[8] & 0xF0) != 0)
        return std::nullopt;
    OpusHeader header{bytes[9], bytes[10] | bytes[11] << 8, static_cast<int16_t>(bytes[16] | bytes[17] << 8)};
    const int family = bytes[18];
    header.coupledStreams = header.channels - 1;
    if (family == 0)
        return header.channels == 1 || header.channels == 2 ? std::optional(header) : std::nullopt;
    const auto channels = static_cast<std::size_t>(header.channels);
    if ((family != 1 && family != 255) || (family == 1 && channels > 8) || count < kPlainHeaderBytes + 2 + channels)
        return std::nullopt;
    header.streams = bytes[19];
    header.coupledStreams = bytes[20];
    for (uint32_t c = 0; c < channels; ++c)
        header.mapping[family == 1 ? waveChannelOf(bytes[9], c) : c] = bytes[21 + c];
    return isBearable(header) ? std::optional(header) : std::nullopt;
}

struct DecoderDeleter {
    void operator()(OpusMSDecoder *decoder) const noexcept { opus_multistream_decoder_destroy(decoder); }
};

class OpusCodec final : public OggCodec
{
public:
    OSStatus addHeader(const ogg_packet &packet) override;
    [[nodiscard]] int headerPackets() const noexcept override { return 2; }
    [[nodiscard]] FourCharCode formatID() const noexcept override { return kAudioFormatOpus; }
    [[nodiscard]] uint32_t channels() const noexcept override { return static_cast<uint32_t>(header_.channels); }
    [[nodiscard]] uint32_t rate() const noexcept override { return kRate; }
    [[nodiscard]] std::optional<int64_t> delay() const noexcept override { return header_.delay; }
    // The decoder never forgets wholly; after 0.8 s it is a hundredth of a 16-bit step away at most.
    [[nodiscard]] Approach approach() const noexcept override { return {int64_t{8} * kRate, kRate * 4 / 5}; }

    void restart() noexcept override
    {
        if (decoder_)
            opus_multistream_decoder_ctl(decoder_.get(), OPUS_RESET_STATE);
    }

    std::optional<uint32_t> framesOf(const ogg_packet &packet) noexcept override
    {
        const int frames = opus_packet_get_nb_samples(packet.packet, static_cast<opus_int32>(packet.bytes), kRate);
        if (packet.bytes < 1 || frames <= 0 || frames > kLongestPacket)
            return std::nullopt;
        return static_cast<uint32_t>(frames);
    }

    void decode(const ogg_packet &packet, uint32_t frames, float *out) override
    {
        int made = 0;
        if (prepare())
            made = opus_multistream_decode_float(decoder_.get(), packet.packet, static_cast<opus_int32>(packet.bytes),
                                                 out, static_cast<int>(frames), 0);
        const auto good = static_cast<std::size_t>(std::max(made, 0)) * channels();
        std::fill(out + good, out + std::size_t{frames} * channels(), 0.0F);
    }

private:
    bool prepare() noexcept;

    OpusHeader header_{};
    bool hasHeader_ = false;
    std::unique_ptr<OpusMSDecoder, DecoderDeleter> decoder_; ///< from the first packet on that is decoded
};

OSStatus OpusCodec::addHeader(const ogg_packet &packet)
{
    if (hasHeader_)
        return packet.bytes >= 8 && std::memcmp(packet.packet, "OpusTags", 8) == 0 ? noErr : kAudioFileInvalidFileError;
    const auto header = parseHeader(packet);
    if (!header)
        return kAudioFileUnsupportedDataFormatError;
    header_ = *header;
    hasHeader_ = true;
    return noErr;
}

bool OpusCodec::prepare() noexcept
{
    if (decoder_)
        return true;
    decoder_.reset(opus_multistream_decoder_create(kRate, header_.channels, header_.streams, header_.coupledStreams,
                                                   header_.mapping.data(), nullptr));
    return decoder_ && opus_multistream_decoder_ctl(decoder_.get(), OPUS_SET_GAIN(header_.gain)) == OPUS_OK;
}

} // namespace

std::unique_ptr<OggCodec> makeOpusCodec(const ogg_packet &first)
{
    const bool isOpus = first.bytes >= 8 && std::memcmp(first.packet, "OpusHead", 8) == 0;
    return isOpus ? std::make_unique<OpusCodec>() : nullptr;
}

} // namespace kx
