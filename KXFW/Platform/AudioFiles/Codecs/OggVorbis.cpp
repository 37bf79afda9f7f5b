/// Vorbis in Ogg. libvorbis is given the packets without their positions, as it would cut by them.
#include "KXFW/Platform/AudioFiles/Codecs/OggCodec.h"
#include "KXFW/Platform/AudioFiles/Codecs/VorbisSetup.h"

#include <vorbis/codec.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace kx
{

namespace
{

class VorbisCodec final : public OggCodec
{
public:
    VorbisCodec()
    {
        vorbis_info_init(&info_);
        vorbis_comment_init(&comment_);
    }
    ~VorbisCodec() override
    {
        if (isReady_) {
            vorbis_block_clear(&block_);
            vorbis_dsp_clear(&dsp_);
        }
        vorbis_comment_clear(&comment_);
        vorbis_info_clear(&info_);
    }
    VorbisCodec(const VorbisCodec &) = delete;
    VorbisCodec &operator=(const VorbisCodec &) = delete;

    OSStatus addHeader(const ogg_packet &packet) override;
    [[nodiscard]] int headerPackets() const noexcept override { return 3; }
    [[nodiscard]] FourCharCode formatID() const noexcept override { return kAudioFormatVorbis; }
    [[nodiscard]] uint32_t channels() const noexcept override { return static_cast<uint32_t>(info_.channels); }
    [[nodiscard]] uint32_t rate() const noexcept override { return static_cast<uint32_t>(info_.rate); }
    [[nodiscard]] std::optional<int64_t> delay() const noexcept override { return std::nullopt; }
    // A block overlaps with the one before it and no other.
    [[nodiscard]] Approach approach() const noexcept override { return {0, 0}; }

    void restart() noexcept override
    {
        previousBlock_ = 0;
        if (isReady_)
            vorbis_synthesis_restart(&dsp_);
    }

    std::optional<uint32_t> framesOf(const ogg_packet &packet) noexcept override
    {
        const long block = vorbis_packet_blocksize(&info_, const_cast<ogg_packet *>(&packet)); // it only looks
        if (block <= 0)
            return std::nullopt;
        const long frames = previousBlock_ > 0 ? previousBlock_ / 4 + block / 4 : 0;
        previousBlock_ = block;
        return static_cast<uint32_t>(frames);
    }

    void decode(const ogg_packet &packet, uint32_t frames, float *out) override;

private:
    OSStatus addSetup(ogg_packet &packet);
    bool prepare() noexcept;

    vorbis_info info_{};
    vorbis_comment comment_{};
    vorbis_dsp_state dsp_{};
    vorbis_block block_{};
    bool hasTried_ = false; ///< to make dsp_ and block_
    bool isReady_ = false;  ///< they are made
    int headers_ = 0;
    long previousBlock_ = 0; ///< frames; 0 before the first
};

OSStatus VorbisCodec::addHeader(const ogg_packet &packet)
{
    ogg_packet header = packet;
    // The tags are of no use here, and large ones not worth their memory: an empty header stands in.
    std::array<unsigned char, 16> noTags{3, 'v', 'o', 'r', 'b', 'i', 's', 0, 0, 0, 0, 0, 0, 0, 0, 1};
    if (headers_ == 1) {
        header.packet = noTags.data();
        header.bytes = noTags.size();
    }
    if (headers_ == 2 && !hasModestCodeBooks(packet))
        return kAudioFileInvalidFileError;
    header.b_o_s = headers_ == 0 ? 1 : 0;
    ++headers_;
    const int status = vorbis_synthesis_headerin(&info_, &comment_, &header);
    return status == 0 ? noErr : kAudioFileInvalidFileError;
}

bool VorbisCodec::prepare() noexcept
{
    if (hasTried_)
        return isReady_;
    hasTried_ = true; // a second try would find what the first left half done
    isReady_ = vorbis_synthesis_init(&dsp_, &info_) == 0;
    if (isReady_)
        vorbis_block_init(&dsp_, &block_);
    return isReady_;
}

void VorbisCodec::decode(const ogg_packet &packet, uint32_t frames, float *out)
{
    std::fill_n(out, std::size_t{frames} * channels(), 0.0F);
    if (!prepare())
        return;
    ogg_packet plain = packet;
    plain.granulepos = -1;
    plain.e_o_s = 0;
    if (vorbis_synthesis(&block_, &plain) != 0) { // the next has nothing to overlap with, as after a seek to here
        vorbis_synthesis_restart(&dsp_);
        return;
    }
    vorbis_synthesis_blockin(&dsp_, &block_);
    float **planes = nullptr;
    const int made = vorbis_synthesis_pcmout(&dsp_, &planes);
    const auto count = std::min<std::size_t>(static_cast<std::size_t>(std::max(made, 0)), frames);
    for (uint32_t c = 0; c < channels(); ++c) {
        float *to = out + waveChannelOf(channels(), c);
        for (std::size_t i = 0; i < count; ++i)
            to[i * channels()] = planes[c][i];
    }
    vorbis_synthesis_read(&dsp_, made);
}

} // namespace

std::unique_ptr<OggCodec> makeVorbisCodec(const ogg_packet &first)
{
    const bool isVorbis = first.bytes >= 7 && std::memcmp(first.packet, "\x01vorbis", 7) == 0;
    return isVorbis ? std::make_unique<VorbisCodec>() : nullptr;
}

uint32_t waveChannelOf(uint32_t channels, uint32_t channel) noexcept
{
    constexpr uint32_t places[9][8] = {{},
                                       {},
                                       {},
                                       {0, 2, 1},
                                       {},
                                       {0, 2, 1, 3, 4},
                                       {0, 2, 1, 4, 5, 3},
                                       {0, 2, 1, 5, 6, 4, 3},
                                       {0, 2, 1, 6, 7, 4, 5, 3}};
    return channels == 3 || (channels >= 5 && channels <= 8) ? places[channels][channel] : channel;
}

} // namespace kx
