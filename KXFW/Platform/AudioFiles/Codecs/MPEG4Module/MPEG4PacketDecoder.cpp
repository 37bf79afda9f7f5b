#include "KXFW/Platform/AudioFiles/Codecs/MPEG4Module/MPEG4PacketDecoder.h"

#include <algorithm>

namespace kx
{

namespace
{

constexpr int64_t kMaximumSamplesPerPacket = 1 << 20;

/// Decoders are named, so that no other implementation that happens to be installed changes the sound.
const AVCodec *findDecoder(AVCodecID id)
{
    return avcodec_find_decoder_by_name(id == AV_CODEC_ID_ALAC ? "alac" : "aac");
}

template <class In, class Out, class Convert>
void interleave(const AVFrame &frame, uint32_t channels, int64_t frames, Out *out, Convert convert)
{
    for (uint32_t channel = 0; channel < channels; ++channel) {
        const In *in = reinterpret_cast<const In *>(frame.extended_data[channel]);
        for (int64_t i = 0; i < frames; ++i)
            out[i * channels + channel] = convert(in[i]);
    }
}

} // namespace

MPEG4PacketDecoder::MPEG4PacketDecoder(const AVCodecParameters &parameters)
    : parameters_(parameters), packet_(av_packet_alloc()), frame_(av_frame_alloc())
{
}

bool MPEG4PacketDecoder::restart() noexcept
{
    const AVCodec *codec = findDecoder(parameters_.codec_id);
    context_.reset(codec == nullptr ? nullptr : avcodec_alloc_context3(codec));
    if (!context_ || !packet_ || !frame_ || avcodec_parameters_to_context(context_.get(), &parameters_) < 0)
        return false;
    context_->thread_count = 1;
    context_->max_samples = kMaximumSamplesPerPacket;
    context_->flags2 |= AV_CODEC_FLAG2_SKIP_MANUAL;
    return avcodec_open2(context_.get(), codec, nullptr) >= 0;
}

const AVFrame *MPEG4PacketDecoder::decode(uint8_t *bytes, uint32_t count) noexcept
{
    packet_->data = bytes;
    packet_->size = static_cast<int>(count);
    const int sent = count == 0 ? AVERROR_INVALIDDATA : avcodec_send_packet(context_.get(), packet_.get());
    packet_->data = nullptr;
    packet_->size = 0;
    if (sent < 0 || avcodec_receive_frame(context_.get(), frame_.get()) < 0)
        return nullptr;
    return frame_.get();
}

bool copyInterleaved(const AVFrame &frame, SampleKind kind, uint32_t channels, int64_t frames, void *interleaved)
{
    if (frame.ch_layout.nb_channels != static_cast<int>(channels))
        return false;
    const int64_t count = std::min<int64_t>(frames, frame.nb_samples);
    auto *floats = static_cast<float *>(interleaved);
    if (kind == SampleKind::Int16 && frame.format == AV_SAMPLE_FMT_S16P)
        interleave<int16_t>(frame, channels, count, static_cast<int16_t *>(interleaved), [](int16_t v) { return v; });
    else if (kind == SampleKind::Float32 && frame.format == AV_SAMPLE_FMT_FLTP)
        interleave<float>(frame, channels, count, floats, [](float v) { return v; });
    else if (kind == SampleKind::Float32 && frame.format == AV_SAMPLE_FMT_S32P)
        interleave<int32_t>(frame, channels, count, floats,
                            [](int32_t v) { return static_cast<float>(v) * (1.0F / 2147483648.0F); });
    else
        return false;
    return true;
}

} // namespace kx
