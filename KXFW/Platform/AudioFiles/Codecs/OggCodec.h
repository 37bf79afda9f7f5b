/// @file
/// What the codecs in Ogg packets have in common.
#pragma once

#include "KXFW/Platform/AudioFiles/Codecs/Decoder.h"

#include <ogg/ogg.h>

#include <cstdint>
#include <memory>
#include <optional>

namespace kx
{

/// One link's packets decoded, one after the other. What a packet adds is known without decoding it, so that a length
/// can be counted and a place be found. One thread at a time.
class OggCodec
{
public:
    /// How decoding comes to a frame so that it gives the samples of the straight decode.
    struct Approach {
        int64_t segment; ///< decoding starts anew at every multiple of this many frames; 0: the codec forgets at once
        int64_t preroll; ///< frames decoded before that and dropped
    };

    virtual ~OggCodec() = default;

    /// Takes the next of the headerPackets() packets in front of the sound: noErr, or why the link cannot be played.
    virtual OSStatus addHeader(const ogg_packet &packet) = 0;
    [[nodiscard]] virtual int headerPackets() const noexcept = 0;
    // With all headers taken:
    [[nodiscard]] virtual FourCharCode formatID() const noexcept = 0;
    [[nodiscard]] virtual uint32_t channels() const noexcept = 0;
    [[nodiscard]] virtual uint32_t rate() const noexcept = 0;
    /// Decoded frames in front of the sound; none if the first page tells.
    [[nodiscard]] virtual std::optional<int64_t> delay() const noexcept = 0;
    [[nodiscard]] virtual Approach approach() const noexcept = 0;

    /// The next packet is taken as if it was the first.
    virtual void restart() noexcept = 0;
    /// Frames that the next packet adds, at most kMaximumPacketFrames; none if it holds no sound and is to be left out.
    /// Called once for each packet in turn.
    virtual std::optional<uint32_t> framesOf(const ogg_packet &packet) noexcept = 0;
    /// Decodes the packet to as many interleaved frames as framesOf told, silent where it cannot be decoded.
    virtual void decode(const ogg_packet &packet, uint32_t frames, float *out) = 0;
};

inline constexpr uint32_t kMaximumPacketFrames = 8192;

/// The codec whose first header this is; null if it is none of these.
std::unique_ptr<OggCodec> makeVorbisCodec(const ogg_packet &first);
std::unique_ptr<OggCodec> makeOpusCodec(const ogg_packet &first);

/// Where channel `channel` of `channels` in the order of Vorbis stands in that of WAVE. [any]
[[nodiscard]] uint32_t waveChannelOf(uint32_t channels, uint32_t channel) noexcept;

} // namespace kx
