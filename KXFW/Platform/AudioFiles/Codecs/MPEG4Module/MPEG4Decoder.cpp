/// The MPEG-4 decoder and the module's entry point.
///
/// AAC is decoded in segments of 64 packets, each by a decoder that starts anew one packet earlier. The noise that AAC
/// substitutes comes from a generator that runs through a whole decode and cannot be set; so it is the same on every
/// way to a frame, and a seek gives the very samples of straight reading. ALAC packets stand alone.
#include "KXFW/Platform/AudioFiles/Codecs/BlockDecoder.h"
#include "KXFW/Platform/AudioFiles/Codecs/MPEG4Module/MPEG4Module.h"
#include "KXFW/Platform/AudioFiles/Codecs/MPEG4Module/MPEG4PacketDecoder.h"
#include "KXFW/Platform/AudioFiles/Codecs/MPEG4Module/MPEG4Timeline.h"
#include "KXFW/Platform/AudioFiles/Codecs/MPEG4Module/MPEG4Track.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <exception>

namespace kx
{

namespace
{

constexpr int64_t kSegmentPackets = 64;
constexpr int64_t kNoPacket = -1;
constexpr uint32_t kMaximumFramesPerPacket = 1 << 16;

/// How the packets of a track come out of the decoder.
struct PacketFormat {
    SampleKind kind = SampleKind::Float32;
    uint32_t channels = 0;
    uint32_t rate = 0;
    uint32_t frames = 0; ///< a packet
};

class MPEG4Decoder final : public BlockDecoder
{
public:
    MPEG4Decoder(ByteSource &source, MPEG4Track track)
        : source_(source), track_(std::move(track)), packetDecoder_(*track_.parameters),
          bytes_(track_.packets.largest() + AV_INPUT_BUFFER_PADDING_SIZE)
    {
    }

    /// To be called once, before anything else.
    OSStatus prepareToRead()
    {
        if (!hasBearableParameters() || !packetDecoder_.restart())
            return kAudioFileUnsupportedDataFormatError;
        probe();
        if (source_.error() != noErr)
            return source_.error();
        if (packet_.frames == 0 || packet_.frames > kMaximumFramesPerPacket || packet_.channels == 0 ||
            packet_.channels > kMaximumChannels || packet_.rate < kMinimumSampleRate ||
            packet_.rate > kMaximumSampleRate)
            return kAudioFileUnsupportedDataFormatError;
        decoded_.resize(std::size_t{packet_.frames} * packet_.channels * sampleBytes(packet_.kind));
        timeline_ = timelineOf(track_, packet_.rate, decodableFrames());
        describe();
        return source_.error();
    }

private:
    Block block() override
    {
        const int64_t frame = timeline_.skip + position_;
        if (!decodeTo(frame / packet_.frames))
            return {};
        const int64_t inPacket = frame % packet_.frames;
        return {decoded_.data() + static_cast<std::size_t>(inPacket) * format_.frameBytes(), packet_.frames - inPacket};
    }

    [[nodiscard]] OSStatus failure() const noexcept override
    {
        const bool lacksMemory = isReadable_; // for a new decoder
        return source_.error() == noErr && lacksMemory ? OSStatus{kAudioFileUnspecifiedError} : source_.error();
    }

    [[nodiscard]] bool isALAC() const noexcept { return track_.parameters->codec_id == AV_CODEC_ID_ALAC; }
    [[nodiscard]] int64_t packetCount() const noexcept { return track_.packets.count(); }

    /// ALAC's own header states how much the decoder will allocate; the library would take it at its word.
    bool hasBearableParameters()
    {
        const AVCodecParameters &parameters = *track_.parameters;
        if (!isALAC())
            return true;
        constexpr int headerBytes = 36;
        if (parameters.extradata_size < headerBytes)
            return false;
        const uint8_t *frames = parameters.extradata + 12;
        packet_.frames =
            uint32_t{frames[0]} << 24 | uint32_t{frames[1]} << 16 | uint32_t{frames[2]} << 8 | uint32_t{frames[3]};
        return packet_.frames <= kMaximumFramesPerPacket;
    }

    /// Learns the format from the first packets: AAC's extensions, which double the rate, show only there.
    void probe()
    {
        constexpr int64_t packets = 8;
        for (int64_t i = 0; i < std::min(packets, packetCount()); ++i) {
            const AVFrame *frame = decodeRaw(i);
            if (frame == nullptr || frame->nb_samples <= 0)
                continue;
            packet_.channels = static_cast<uint32_t>(std::max(0, frame->ch_layout.nb_channels));
            packet_.rate = static_cast<uint32_t>(std::max(0, frame->sample_rate));
            packet_.kind = frame->format == AV_SAMPLE_FMT_S16P ? SampleKind::Int16 : SampleKind::Float32;
            if (isALAC())
                return;
            packet_.frames = static_cast<uint32_t>(frame->nb_samples);
        }
        if (packet_.channels == 0 && packetCount() == 0)
            assumeStated();
    }

    /// A track without a packet has the format that its header states.
    void assumeStated()
    {
        const AVCodecParameters &parameters = *track_.parameters;
        packet_.channels = static_cast<uint32_t>(std::max(0, parameters.ch_layout.nb_channels));
        packet_.rate = static_cast<uint32_t>(std::max(0, parameters.sample_rate));
        packet_.frames = isALAC() ? packet_.frames : 1024;
        packet_.kind = isALAC() && track_.parameters->bits_per_coded_sample == 16 ? SampleKind::Int16 : packet_.kind;
    }

    /// Frames that all packets decode to; ALAC's last one may be shorter than the others, and says so itself.
    int64_t decodableFrames()
    {
        const int64_t count = packetCount();
        const AVFrame *last = isALAC() && count > 0 ? decodeRaw(count - 1) : nullptr;
        const int64_t all = count * packet_.frames;
        return last == nullptr ? all : all - packet_.frames + std::min<int64_t>(last->nb_samples, packet_.frames);
    }

    void describe()
    {
        const uint32_t bits = track_.parameters->extradata_size >= 36 ? track_.parameters->extradata[17] : 0;
        const uint32_t flags = !isALAC() ? 0 : bits <= 16 ? 1 : bits <= 20 ? 2 : bits <= 24 ? 3 : 4;
        const auto rate = static_cast<double>(packet_.rate);
        const AudioStreamBasicDescription file{
            rate, isALAC() ? kAudioFormatALAC : kAudioFormatMPEG4AAC, flags, 0, packet_.frames, 0, packet_.channels, 0,
            0};
        format_ = {file, packet_.kind, packet_.channels, rate, timeline_.frames};
    }

    /// The packet as the library decodes it, after whatever it decoded before; null if that fails.
    const AVFrame *decodeRaw(int64_t packet)
    {
        const MPEG4PacketList::Packet &entry = track_.packets.at(packet);
        isReadable_ = source_.readAt(entry.position, bytes_.data(), entry.bytes) == int64_t{entry.bytes};
        if (!isReadable_)
            return nullptr;
        std::memset(bytes_.data() + entry.bytes, 0, AV_INPUT_BUFFER_PADDING_SIZE);
        return packetDecoder_.decode(bytes_.data(), entry.bytes);
    }

    /// Has packet number `packet` in decoded_; one that cannot be decoded is silent. False if it cannot be read.
    bool decodeTo(int64_t packet)
    {
        if (packet == current_)
            return true;
        isReadable_ = true;
        const int64_t segment = packet / kSegmentPackets;
        const bool goesOn = current_ != kNoPacket && current_ < packet && current_ / kSegmentPackets == segment;
        if (isALAC())
            current_ = packet - 1;
        else if (!goesOn && !startSegment(segment))
            return false;
        while (current_ < packet) {
            const AVFrame *frame = decodeRaw(current_ + 1);
            if (!isReadable_) {
                current_ = kNoPacket;
                return false;
            }
            ++current_;
            if (current_ == packet)
                take(frame);
        }
        return true;
    }

    /// The next packet to decode is the segment's first.
    bool startSegment(int64_t segment)
    {
        // Where AAC's extensions are used, a decoder needs more packets until it has met their header.
        const int64_t preroll = packet_.frames > 1024 ? kSegmentPackets / 2 : 1;
        const int64_t first = segment * kSegmentPackets;
        current_ = kNoPacket;
        if (!packetDecoder_.restart())
            return false;
        for (int64_t packet = std::max<int64_t>(0, first - preroll); packet < first; ++packet) {
            decodeRaw(packet);
            if (!isReadable_)
                return false;
        }
        current_ = first - 1;
        return true;
    }

    void take(const AVFrame *frame)
    {
        const bool isUsable = frame != nullptr && frame->sample_rate == static_cast<int>(packet_.rate);
        if (!isUsable || frame->nb_samples < static_cast<int>(packet_.frames))
            std::fill(decoded_.begin(), decoded_.end(), uint8_t{0});
        if (!isUsable)
            return;
        if (!copyInterleaved(*frame, packet_.kind, packet_.channels, packet_.frames, decoded_.data()))
            std::fill(decoded_.begin(), decoded_.end(), uint8_t{0});
    }

    ByteSource &source_;
    MPEG4Track track_;
    MPEG4PacketDecoder packetDecoder_;
    std::vector<uint8_t> bytes_; ///< of the packet being decoded, and padding
    PacketFormat packet_;
    MPEG4Timeline timeline_{};
    std::vector<uint8_t> decoded_; ///< packet number current_
    int64_t current_ = kNoPacket;
    bool isReadable_ = true; ///< whether the last packet's bytes were all there
};

OSStatus openFile(ByteSource &source, Decoder **decoder)
{
    auto track = readMPEG4Track(source);
    if (source.error() != noErr)
        return source.error();
    if (!track)
        return track.status();
    auto opened = std::make_unique<MPEG4Decoder>(source, std::move(*track));
    const OSStatus status = opened->prepareToRead();
    if (status == noErr)
        *decoder = opened.release();
    return status;
}

} // namespace

} // namespace kx

OSStatus kxfwOpenMPEG4(uint32_t version, kx::ByteSource *source, kx::Decoder **decoder)
{
    if (version != kx::kMPEG4ModuleVersion)
        return kAudioFileUnsupportedFileTypeError;
    av_log_set_level(AV_LOG_QUIET);
    try {
        return kx::openFile(*source, decoder);
    } catch (const std::exception &) {
        return kAudioFileUnspecifiedError;
    }
}
