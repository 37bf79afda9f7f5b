#pragma once

#include "KXFW/Platform/AudioFiles/Codecs/Decoder.h"
#include "KXFW/Platform/AudioFiles/Codecs/MPEG4Module/AVObjects.h"

#include <cstdint>

namespace kx
{

/// Decodes AAC or ALAC packets one at a time.
class MPEG4PacketDecoder
{
public:
    /// `parameters` must outlive the decoder.
    explicit MPEG4PacketDecoder(const AVCodecParameters &parameters);
    /// Begins anew, with nothing left of earlier packets: the generator of noise starts again too. False if there is
    /// no decoder for these parameters, or no memory.
    [[nodiscard]] bool restart() noexcept;
    /// Decodes a packet of `count` bytes, behind which AV_INPUT_BUFFER_PADDING_SIZE more are readable. The frame is
    /// valid until the next call; null if the packet cannot be decoded.
    const AVFrame *decode(uint8_t *bytes, uint32_t count) noexcept;

private:
    const AVCodecParameters &parameters_;
    AVCodecContextOwner context_;
    AVPacketOwner packet_;
    AVFrameOwner frame_;
};

/// Copies up to `frames` frames of a decoded frame to `interleaved`, as 16-bit integers or as floats. False, and
/// nothing copied, if the frame has another channel count or an unknown sample type.
bool copyInterleaved(const AVFrame &frame, SampleKind kind, uint32_t channels, int64_t frames, void *interleaved);

} // namespace kx
