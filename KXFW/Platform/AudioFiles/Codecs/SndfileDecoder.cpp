#include "KXFW/Platform/AudioFiles/Codecs/SndfileDecoder.h"

#include "KXFW/Platform/AudioFiles/Codecs/FiniteSamples.h"

#include <algorithm>
#include <cstring>

namespace kx
{

namespace
{

constexpr uint32_t kSkipFrames = 1024;
constexpr int64_t kTryAgain = 4096; ///< frames; what codecs hold in a packet

} // namespace

DecoderResult SndfileDecoder::make(std::unique_ptr<VirtualFile> file, SndfileHandlePointer handle,
                                   const DecodedFormat &format)
{
    std::unique_ptr<SndfileDecoder> decoder(new SndfileDecoder(std::move(file), std::move(handle), format));
    if (const OSStatus status = decoder->measure(); status != noErr)
        return status;
    return std::unique_ptr<Decoder>(std::move(decoder));
}

SndfileDecoder::SndfileDecoder(std::unique_ptr<VirtualFile> file, SndfileHandlePointer handle,
                               const DecodedFormat &format)
    : file_(std::move(file)), handle_(std::move(handle)), format_(format),
      skipped_(std::size_t{kSkipFrames} * format.channels)
{
}

OSStatus SndfileDecoder::measure()
{
    const bool isStated = format_.frames > 0 && format_.frames < SF_COUNT_MAX;
    if (isStated && seek(format_.frames - 1) == noErr && handleFrame_ >= 0 && decode(skipped_.data(), 1) == 1) {
        handleFrame_ = -1;
        return seek(0);
    }
    if (file_->source().error() != noErr)
        return file_->source().error();
    return count();
}

/// The length of a file that was cut short or does not state it: what a straight decode gives.
OSStatus SndfileDecoder::count()
{
    if (const OSStatus status = restart(); status != noErr)
        return status;
    format_.frames = 0;
    while (const uint32_t got = decode(skipped_.data(), kSkipFrames))
        format_.frames += got;
    position_ = handleFrame_ = 0; // the look for the stated last frame moved both
    return file_->source().error() != noErr ? file_->source().error() : restart();
}

uint32_t SndfileDecoder::decode(void *interleaved, uint32_t frames)
{
    sf_count_t got = 0;
    if (format_.kind == SampleKind::Int16) {
        got = sf_readf_short(handle_.get(), static_cast<short *>(interleaved), frames);
    } else {
        got = sf_readf_float(handle_.get(), static_cast<float *>(interleaved), frames);
        makeFinite(static_cast<float *>(interleaved),
                   static_cast<std::size_t>(std::max<sf_count_t>(got, 0)) * format_.channels);
    }
    return static_cast<uint32_t>(std::max<sf_count_t>(got, 0));
}

StatusOr<uint32_t> SndfileDecoder::read(void *interleaved, uint32_t frames)
{
    const auto wanted = static_cast<uint32_t>(std::min<int64_t>(frames, format_.frames - position_));
    if (wanted == 0)
        return uint32_t{0};
    if (handleFrame_ != position_) // the last seek failed, or what came before was damaged
        if (const OSStatus status = seek(position_); status != noErr)
            return status;
    const uint32_t got = handleFrame_ == position_ ? decode(interleaved, wanted) : 0;
    position_ += got;
    handleFrame_ += got;
    if (got > 0 || file_->isCutShort())
        return got;
    if (const OSStatus status = file_->source().error(); status != noErr) {
        handleFrame_ = -1; // nobody knows where a failed read leaves the library
        return status;
    }
    return standIn(interleaved, wanted);
}

/// Silence where what is there cannot be decoded, up to where it is tried again.
uint32_t SndfileDecoder::standIn(void *interleaved, uint32_t frames)
{
    const auto count = static_cast<uint32_t>(std::min<int64_t>(frames, kTryAgain - position_ % kTryAgain));
    std::memset(interleaved, 0, std::size_t{count} * format_.frameBytes());
    position_ += count;
    handleFrame_ = -1;
    return count;
}

OSStatus SndfileDecoder::seek(int64_t frame)
{
    if (frame < 0 || frame > format_.frames)
        return kExtAudioFileError_InvalidSeek;
    position_ = frame;
    if (frame == handleFrame_ || frame == format_.frames)
        return noErr; // the end is read without the handle, whose codecs do not all take it as a target
    handleFrame_ = -1;
    bool isThere = sf_seek(handle_.get(), frame, SEEK_SET) == frame;
    if (!isThere && frame < unreachable_) {
        if (const OSStatus status = restart(); status != noErr)
            return status;
        isThere = skip(frame);
        if (!isThere)
            unreachable_ = frame;
    }
    handleFrame_ = isThere ? frame : -1;
    return file_->source().error();
}

OSStatus SndfileDecoder::restart()
{
    SF_INFO info;
    handle_.reset();
    handle_.reset(file_->open(info));
    if (handle_)
        return noErr;
    return file_->source().error() != noErr ? file_->source().error() : kAudioFileInvalidFileError;
}

bool SndfileDecoder::skip(int64_t frames)
{
    while (frames > 0) {
        const uint32_t got = decode(skipped_.data(), static_cast<uint32_t>(std::min<int64_t>(frames, kSkipFrames)));
        if (got == 0)
            return false;
        frames -= got;
    }
    return true;
}

} // namespace kx
