#include "KXFW/Platform/Conversion/SampleFormat.h"

#include "KXFW/Platform/Conversion/SampleCodecs.h"
#include "KXFW/Platform/Conversion/SampleKernels.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <bit>

namespace kx
{
namespace
{

constexpr uint32_t kKnownFlags = kAudioFormatFlagIsFloat | kAudioFormatFlagIsBigEndian |
                                 kAudioFormatFlagIsSignedInteger | kAudioFormatFlagIsPacked |
                                 kAudioFormatFlagIsAlignedHigh | kAudioFormatFlagIsNonInterleaved;

bool has(const AudioStreamBasicDescription &format, uint32_t flag)
{
    return (format.mFormatFlags & flag) != 0;
}

/// Whether the samples are stored in the other byte order than the machine's.
bool isSwapped(const AudioStreamBasicDescription &format)
{
    return has(format, kAudioFormatFlagIsBigEndian) != (std::endian::native == std::endian::big);
}

bool isKnownSample(const AudioStreamBasicDescription &format)
{
    const uint32_t bits = format.mBitsPerChannel;
    const bool isSigned = has(format, kAudioFormatFlagIsSignedInteger);
    if (has(format, kAudioFormatFlagIsFloat))
        return !isSigned && (bits == 32 || bits == 64);
    return bits == 8 || (isSigned && (bits == 16 || bits == 24 || bits == 32));
}

template <bool Swapped, class Visitor> void withWideCodec(const AudioStreamBasicDescription &format, Visitor &&visit)
{
    const bool isFloat = has(format, kAudioFormatFlagIsFloat);
    switch (format.mBitsPerChannel) {
    case 16:
        return visit(Integer16<Swapped>{});
    case 24:
        return visit(Integer24<Swapped>{});
    case 32:
        return isFloat ? visit(Float32<Swapped>{}) : visit(Integer32<Swapped>{});
    default:
        return visit(Float64<Swapped>{});
    }
}

/// Calls `visit` with the codec of the format's samples, so that the choice is made once and not for each sample.
template <class Visitor> void withCodec(const AudioStreamBasicDescription &format, Visitor &&visit)
{
    if (format.mBitsPerChannel == 8)
        return has(format, kAudioFormatFlagIsSignedInteger) ? visit(Signed8{}) : visit(Unsigned8{});
    return isSwapped(format) ? withWideCodec<true>(format, visit) : withWideCodec<false>(format, visit);
}

/// Where the samples of channel `c` begin in a list laid out as `format`.
std::byte *channelStart(const AudioStreamBasicDescription &format, const AudioBufferList &list, uint32_t first,
                        uint32_t channel)
{
    const bool planar = isNonInterleaved(format);
    const std::size_t inFrame = planar ? 0 : std::size_t{channel} * (format.mBitsPerChannel / 8);
    return static_cast<std::byte *>(list.mBuffers[planar ? channel : 0].mData) +
           std::size_t{first} * format.mBytesPerFrame + inFrame;
}

} // namespace

bool isConvertible(const AudioStreamBasicDescription &format) noexcept
{
    if (format.mFormatID != kAudioFormatLinearPCM || (format.mFormatFlags & ~kKnownFlags) != 0)
        return false;
    if (!(format.mSampleRate >= kMinimumSampleRate && format.mSampleRate <= kMaximumSampleRate))
        return false;
    if (format.mChannelsPerFrame == 0 || format.mChannelsPerFrame > kMaximumChannels || !isKnownSample(format))
        return false;
    // Samples that fill their bytes leave nothing for "aligned high" to say; any other layout fails here.
    const uint32_t bytes = format.mBitsPerChannel / 8 * channelsPerBuffer(format);
    return format.mFramesPerPacket == 1 && format.mBytesPerFrame == bytes && format.mBytesPerPacket == bytes;
}

void toPlanarFloat(const AudioStreamBasicDescription &format, const AudioBufferList &in, uint32_t first,
                   uint32_t frames, float *const *out) noexcept
{
    withCodec(format, [&]<class Codec>(Codec) {
        if (format.mChannelsPerFrame == 2 && !isNonInterleaved(format))
            return readStereo<Codec>(channelStart(format, in, first, 0), frames, out[0], out[1]);
        for (uint32_t c = 0; c < format.mChannelsPerFrame; ++c)
            readChannel<Codec>(channelStart(format, in, first, c), format.mBytesPerFrame, frames, out[c]);
    });
}

void fromPlanarFloat(const AudioStreamBasicDescription &format, const float *const *in, uint32_t frames,
                     AudioBufferList &out, uint32_t first) noexcept
{
    withCodec(format, [&]<class Codec>(Codec) {
        if (format.mChannelsPerFrame == 2 && !isNonInterleaved(format))
            return writeStereo<Codec>(in[0], in[1], frames, channelStart(format, out, first, 0));
        for (uint32_t c = 0; c < format.mChannelsPerFrame; ++c)
            writeChannel<Codec>(in[c], frames, channelStart(format, out, first, c), format.mBytesPerFrame);
    });
}

void swapBytes16(const void *in, void *out, std::size_t count) noexcept
{
    swapWords(static_cast<const std::byte *>(in), static_cast<std::byte *>(out), count);
}

void deinterleave(const float *in, uint32_t channels, uint32_t frames, float *const *out) noexcept
{
    const auto *bytes = reinterpret_cast<const std::byte *>(in);
    if (channels == 2)
        return readStereo<Float32<false>>(bytes, frames, out[0], out[1]);
    for (std::size_t c = 0; c < channels; ++c)
        readChannel<Float32<false>>(bytes + c * sizeof(float), channels * sizeof(float), frames, out[c]);
}

void deinterleave(const int16_t *in, uint32_t channels, uint32_t frames, float *const *out) noexcept
{
    const auto *bytes = reinterpret_cast<const std::byte *>(in);
    if (channels == 2)
        return readStereo<Integer16<false>>(bytes, frames, out[0], out[1]);
    for (std::size_t c = 0; c < channels; ++c)
        readChannel<Integer16<false>>(bytes + c * sizeof(int16_t), channels * sizeof(int16_t), frames, out[c]);
}

} // namespace kx
