#include "KXFW/Platform/AudioFiles/Codecs/ContainerScan.h"
#include "KXFW/Platform/AudioFiles/Codecs/PlainPCMDecoder.h"
#include "KXFW/Platform/AudioFiles/Codecs/SndfileDecoder.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <algorithm>
#include <optional>

namespace kx
{

namespace
{

/// What libsndfile calls a kind of sample, and what we do with it.
struct SampleEncoding {
    int subtype;
    FourCharCode formatID;
    uint32_t bits;  ///< a sample in the file; 0 where that says nothing
    uint32_t flags; ///< of linear PCM
    SampleKind kind;
};

constexpr SampleEncoding kEncodings[] = {
    {SF_FORMAT_PCM_S8, kAudioFormatLinearPCM, 8, kAudioFormatFlagIsSignedInteger, SampleKind::Int16},
    {SF_FORMAT_PCM_U8, kAudioFormatLinearPCM, 8, 0, SampleKind::Int16},
    {SF_FORMAT_PCM_16, kAudioFormatLinearPCM, 16, kAudioFormatFlagIsSignedInteger, SampleKind::Int16},
    {SF_FORMAT_PCM_24, kAudioFormatLinearPCM, 24, kAudioFormatFlagIsSignedInteger, SampleKind::Float32},
    {SF_FORMAT_PCM_32, kAudioFormatLinearPCM, 32, kAudioFormatFlagIsSignedInteger, SampleKind::Float32},
    {SF_FORMAT_FLOAT, kAudioFormatLinearPCM, 32, kAudioFormatFlagIsFloat, SampleKind::Float32},
    {SF_FORMAT_DOUBLE, kAudioFormatLinearPCM, 64, kAudioFormatFlagIsFloat, SampleKind::Float32},
    {SF_FORMAT_ULAW, kAudioFormatULaw, 8, 0, SampleKind::Int16},
    {SF_FORMAT_ALAW, kAudioFormatALaw, 8, 0, SampleKind::Int16},
    {SF_FORMAT_IMA_ADPCM, kAudioFormatIMA4, 0, 0, SampleKind::Int16},
    {SF_FORMAT_MS_ADPCM, kAudioFormatMSADPCM, 0, 0, SampleKind::Int16},
    {SF_FORMAT_ALAC_16, kAudioFormatALAC, 0, 0, SampleKind::Int16},
    {SF_FORMAT_ALAC_20, kAudioFormatALAC, 0, 0, SampleKind::Float32},
    {SF_FORMAT_ALAC_24, kAudioFormatALAC, 0, 0, SampleKind::Float32},
    {SF_FORMAT_ALAC_32, kAudioFormatALAC, 0, 0, SampleKind::Float32},
};

const SampleEncoding *encodingOf(const SF_INFO &info)
{
    const auto *found = std::ranges::find(kEncodings, info.format & SF_FORMAT_SUBMASK, &SampleEncoding::subtype);
    return found == std::end(kEncodings) ? nullptr : found;
}

AudioStreamBasicDescription fileFormat(const SF_INFO &info, const SampleEncoding &encoding, SNDFILE *handle)
{
    const auto channels = static_cast<uint32_t>(info.channels);
    if (encoding.bits == 0)
        return {static_cast<double>(info.samplerate), encoding.formatID, 0, 0, 0, 0, channels, 0, 0};
    const uint32_t bytes = encoding.bits / 8 * channels;
    uint32_t flags = encoding.flags;
    if (encoding.formatID == kAudioFormatLinearPCM)
        flags |= kAudioFormatFlagIsPacked;
    // Asked of the library, as each container has a default of its own.
    if (encoding.bits > 8 && sf_command(handle, SFC_RAW_DATA_NEEDS_ENDSWAP, nullptr, 0) == SF_TRUE)
        flags |= kAudioFormatFlagIsBigEndian;
    return {
        static_cast<double>(info.samplerate), encoding.formatID, flags, bytes, 1, bytes, channels, encoding.bits, 0};
}

/// Where the samples lie, if they are plain: shown by where the library goes for the first two frames.
std::optional<PlainPCMLayout> plainLayout(const VirtualFile &file, SNDFILE *handle, const SF_INFO &info,
                                          const AudioStreamBasicDescription &format)
{
    if (format.mFormatID != kAudioFormatLinearPCM || format.mBytesPerFrame == 0 || info.frames < 1)
        return std::nullopt;
    if (sf_seek(handle, 0, SEEK_SET) != 0)
        return std::nullopt;
    const int64_t first = file.position();
    if (sf_seek(handle, 1, SEEK_SET) != 1 || file.position() - first != format.mBytesPerFrame)
        return std::nullopt;
    const int64_t present = (file.size() - first) / format.mBytesPerFrame;
    return PlainPCMLayout{format, first, std::min<int64_t>(info.frames, std::max<int64_t>(present, 0))};
}

OSStatus checkInfo(const SF_INFO &info)
{
    const bool supported = info.channels >= 1 && info.channels <= static_cast<int>(kMaximumChannels) &&
                           info.samplerate >= kMinimumSampleRate && info.samplerate <= kMaximumSampleRate &&
                           encodingOf(info) != nullptr;
    return supported ? noErr : kAudioFileUnsupportedDataFormatError;
}

} // namespace

bool recognisesPCMContainer(ByteSource &source)
{
    return containerOf(source) != Container::None;
}

DecoderResult openPCMContainer(std::shared_ptr<ByteSource> source)
{
    const Container container = containerOf(*source);
    const ContainerScan scan = scanContainer(*source, container);
    if (scan.status != noErr)
        return scan.status;
    auto file = std::make_unique<VirtualFile>(source, scan.visibleBytes, scan.zeroed);
    SF_INFO info;
    SndfileHandlePointer handle(file->open(info));
    if (!handle)
        return source->error() != noErr ? source->error() : kAudioFileInvalidFileError;
    if (const OSStatus status = checkInfo(info); status != noErr)
        return status;
    const SampleEncoding &encoding = *encodingOf(info);
    const AudioStreamBasicDescription format = fileFormat(info, encoding, handle.get());
    if (const auto layout = plainLayout(*file, handle.get(), info, format))
        return std::unique_ptr<Decoder>(std::make_unique<PlainPCMDecoder>(source, *layout));
    const DecodedFormat decoded{format, encoding.kind, format.mChannelsPerFrame, format.mSampleRate, info.frames};
    return SndfileDecoder::make(std::move(file), std::move(handle), decoded);
}

} // namespace kx
