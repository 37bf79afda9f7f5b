#include "KXFW/Platform/AudioFiles/Codecs/PlainPCMDecoder.h"

#include "KXFW/Platform/AudioFiles/Codecs/FiniteSamples.h"
#include "KXFW/Platform/Conversion/SampleFormat.h"

#include <algorithm>

namespace kx
{

namespace
{

bool isBigEndian(const AudioStreamBasicDescription &format)
{
    return (format.mFormatFlags & kAudioFormatFlagIsBigEndian) != 0;
}

AudioStreamBasicDescription asOneChannel(AudioStreamBasicDescription format)
{
    format.mBytesPerFrame /= format.mChannelsPerFrame;
    format.mBytesPerPacket = format.mBytesPerFrame;
    format.mChannelsPerFrame = 1;
    return format;
}

} // namespace

PlainPCMDecoder::PlainPCMDecoder(std::shared_ptr<ByteSource> source, const PlainPCMLayout &layout)
    : source_(std::move(source)),
      window_(*source_), format_{layout.format,
                                 layout.format.mBitsPerChannel <= 16 ? SampleKind::Int16 : SampleKind::Float32,
                                 layout.format.mChannelsPerFrame, layout.format.mSampleRate, layout.frames},
      oneChannel_(asOneChannel(layout.format)), dataOffset_(layout.dataOffset),
      frameBytes_(layout.format.mBytesPerFrame)
{
}

bool PlainPCMDecoder::setBigEndian(bool bigEndian) noexcept
{
    deliverBigEndian_ = bigEndian && format_.file.mBitsPerChannel == 16;
    return deliverBigEndian_ == bigEndian;
}

StatusOr<uint32_t> PlainPCMDecoder::read(void *interleaved, uint32_t frames)
{
    auto *out = static_cast<std::byte *>(interleaved);
    const auto wanted = static_cast<uint32_t>(std::min<int64_t>(frames, format_.frames - position_));
    const auto got = format_.file.mBitsPerChannel == 16 ? read16(out, wanted) : readOther(out, wanted);
    if (got)
        position_ += *got;
    return got;
}

OSStatus PlainPCMDecoder::seek(int64_t frame)
{
    if (frame < 0 || frame > format_.frames)
        return kExtAudioFileError_InvalidSeek;
    position_ = frame;
    return noErr;
}

StatusOr<uint32_t> PlainPCMDecoder::read16(std::byte *out, uint32_t frames)
{
    const auto bytes = window_.copy(offsetOf(position_), out, frames * frameBytes_);
    if (!bytes)
        return bytes.status();
    const auto got = static_cast<uint32_t>(*bytes / frameBytes_);
    if (isBigEndian(format_.file) != deliverBigEndian_)
        swapBytes16(out, out, std::size_t{got} * format_.channels);
    return got;
}

StatusOr<uint32_t> PlainPCMDecoder::readOther(std::byte *out, uint32_t frames)
{
    const std::size_t outBytes = format_.frameBytes();
    uint32_t done = 0;
    while (done < frames) {
        const int64_t atOnce = std::min<int64_t>(frames - done, ByteWindow::kCapacity / frameBytes_);
        const auto bytes = window_.view(offsetOf(position_ + done), atOnce * frameBytes_);
        if (!bytes && done == 0)
            return bytes.status();
        const auto got = bytes ? static_cast<uint32_t>(static_cast<int64_t>((*bytes).size()) / frameBytes_) : 0;
        if (got == 0)
            break;
        convert((*bytes).data(), out + done * outBytes, got * format_.channels);
        done += got;
    }
    return done;
}

void PlainPCMDecoder::convert(const std::byte *in, std::byte *out, uint32_t samples) const noexcept
{
    if (format_.kind == SampleKind::Int16) {
        auto *to = reinterpret_cast<int16_t *>(out);
        const bool isSigned = (format_.file.mFormatFlags & kAudioFormatFlagIsSignedInteger) != 0;
        const unsigned flip = isSigned ? 0 : 0x80;
        for (uint32_t i = 0; i < samples; ++i)
            to[i] = static_cast<int16_t>((static_cast<unsigned>(in[i]) ^ flip) << 8);
        return;
    }
    auto *to = reinterpret_cast<float *>(out);
    const uint32_t bytes = samples * oneChannel_.mBytesPerFrame;
    const AudioBufferList list{1, {{1, bytes, const_cast<std::byte *>(in)}}};
    toPlanarFloat(oneChannel_, list, 0, samples, &to);
    if ((format_.file.mFormatFlags & kAudioFormatFlagIsFloat) != 0)
        makeFinite(to, samples);
}

} // namespace kx
