#include "KXFW/Platform/AudioFiles/Codecs/FLACDecoder.h"

#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

namespace kx
{

namespace
{

constexpr int64_t kFirstTailBytes = 128 << 10;
constexpr int64_t kFirstStepBack = 1 << 16; ///< frames

template <class Sample, class Convert>
void interleave(const FLAC__int32 *const *planes, uint32_t channels, uint32_t frames, std::byte *out, Convert convert)
{
    auto *to = reinterpret_cast<Sample *>(out);
    for (uint32_t c = 0; c < channels; ++c)
        for (uint32_t i = 0; i < frames; ++i)
            to[std::size_t{i} * channels + c] = convert(planes[c][i]);
}

} // namespace

struct FLACDecoder::Callbacks {
    using Decoder = const FLAC__StreamDecoder *;

    static FLACDecoder &of(void *self) { return *static_cast<FLACDecoder *>(self); }

    static FLAC__StreamDecoderReadStatus read(Decoder, FLAC__byte *bytes, std::size_t *count, void *self) noexcept
    {
        FLACDecoder &d = of(self);
        const int64_t left = d.range_.end - d.range_.begin - d.offset_;
        const int64_t wanted = std::min<int64_t>(static_cast<int64_t>(*count), left);
        const int64_t got = wanted > 0 ? d.source_->readAt(d.range_.begin + d.offset_, bytes, wanted) : 0;
        *count = static_cast<std::size_t>(std::max<int64_t>(got, 0));
        d.offset_ += std::max<int64_t>(got, 0);
        d.isCutShort_ = got < std::min<int64_t>(wanted, 1);
        if (got < 0)
            return FLAC__STREAM_DECODER_READ_STATUS_ABORT;
        return got == 0 ? FLAC__STREAM_DECODER_READ_STATUS_END_OF_STREAM : FLAC__STREAM_DECODER_READ_STATUS_CONTINUE;
    }
    static FLAC__StreamDecoderSeekStatus seek(Decoder, FLAC__uint64 offset, void *self) noexcept
    {
        FLACDecoder &d = of(self);
        if (offset > static_cast<FLAC__uint64>(d.range_.end - d.range_.begin))
            return FLAC__STREAM_DECODER_SEEK_STATUS_ERROR;
        d.offset_ = static_cast<int64_t>(offset);
        return FLAC__STREAM_DECODER_SEEK_STATUS_OK;
    }
    static FLAC__StreamDecoderTellStatus tell(Decoder, FLAC__uint64 *offset, void *self) noexcept
    {
        *offset = static_cast<FLAC__uint64>(of(self).offset_);
        return FLAC__STREAM_DECODER_TELL_STATUS_OK;
    }
    static FLAC__StreamDecoderLengthStatus length(Decoder, FLAC__uint64 *bytes, void *self) noexcept
    {
        *bytes = static_cast<FLAC__uint64>(of(self).range_.end - of(self).range_.begin);
        return FLAC__STREAM_DECODER_LENGTH_STATUS_OK;
    }
    static FLAC__bool isAtEnd(Decoder, void *self) noexcept
    {
        return of(self).offset_ >= of(self).range_.end - of(self).range_.begin ? 1 : 0;
    }
    static FLAC__StreamDecoderWriteStatus write(Decoder, const FLAC__Frame *frame, const FLAC__int32 *const planes[],
                                                void *self) noexcept
    {
        try {
            of(self).take(*frame, planes);
            return FLAC__STREAM_DECODER_WRITE_STATUS_CONTINUE;
        } catch (const std::bad_alloc &) {
            return FLAC__STREAM_DECODER_WRITE_STATUS_ABORT;
        }
    }
    static void describe(Decoder, const FLAC__StreamMetadata *metadata, void *self) noexcept
    {
        FLACDecoder &d = of(self);
        if (metadata->type != FLAC__METADATA_TYPE_STREAMINFO || d.bits_ > 0) // it comes again after every restart
            return;
        const auto &info = metadata->data.stream_info;
        d.bits_ = info.bits_per_sample;
        const auto rate = static_cast<double>(info.sample_rate);
        d.format_ = {{rate, kAudioFormatFLAC, 0, 0, 0, 0, info.channels, d.bits_, 0},
                     d.bits_ <= 16 ? SampleKind::Int16 : SampleKind::Float32,
                     info.channels,
                     rate,
                     static_cast<int64_t>(info.total_samples)};
    }
    static void fail(Decoder, FLAC__StreamDecoderErrorStatus status, void *self) noexcept
    {
        if (status == FLAC__STREAM_DECODER_ERROR_STATUS_FRAME_CRC_MISMATCH)
            of(self).isDamaged_ = true;
    }
};

DecoderResult FLACDecoder::make(std::shared_ptr<ByteSource> source, ByteRange range)
{
    return open(FLAC__stream_decoder_init_stream, std::move(source), range, 0);
}

DecoderResult FLACDecoder::makeInOgg(std::shared_ptr<ByteSource> source, ByteRange range, uint32_t serial)
{
    return open(FLAC__stream_decoder_init_ogg_stream, std::move(source), range, serial);
}

DecoderResult FLACDecoder::open(Initialiser *initialise, std::shared_ptr<ByteSource> source, ByteRange range,
                                uint32_t serial)
{
    std::unique_ptr<FLACDecoder> decoder(new FLACDecoder(std::move(source), range));
    FLAC__stream_decoder_set_ogg_serial_number(decoder->decoder_.get(), static_cast<int>(serial));
    const auto result =
        initialise(decoder->decoder_.get(), Callbacks::read, Callbacks::seek, Callbacks::tell, Callbacks::length,
                   Callbacks::isAtEnd, Callbacks::write, Callbacks::describe, Callbacks::fail, decoder.get());
    const OSStatus status =
        result == FLAC__STREAM_DECODER_INIT_STATUS_OK ? decoder->start() : kAudioFileUnsupportedDataFormatError;
    return status == noErr ? DecoderResult(std::move(decoder)) : status;
}

FLACDecoder::FLACDecoder(std::shared_ptr<ByteSource> source, ByteRange range)
    : source_(std::move(source)), range_(range), decoder_(FLAC__stream_decoder_new())
{
}

FLACDecoder::~FLACDecoder() = default;

OSStatus FLACDecoder::openingFailure() const noexcept
{
    return source_->error() != noErr ? source_->error() : kAudioFileInvalidFileError;
}

OSStatus FLACDecoder::start()
{
    if (FLAC__stream_decoder_process_until_end_of_metadata(decoder_.get()) == 0 || bits_ == 0)
        return openingFailure();
    const bool isSupported = format_.channels >= 1 && format_.channels <= kMaximumChannels &&
                             format_.rate >= kMinimumSampleRate && format_.rate <= kMaximumSampleRate;
    if (!isSupported)
        return kAudioFileUnsupportedDataFormatError;
    return measure();
}

OSStatus FLACDecoder::measure()
{
    const int64_t stated = format_.frames;
    format_.frames = INT64_MAX; // whatever frame there is counts
    const bool isStated = stated > 0 && holds(stated - 1);
    if (!isStated && source_->error() != noErr)
        return source_->error();
    format_.frames = isStated ? stated : lastFrameEnd();
    isStanding_ = false;
    return source_->error();
}

bool FLACDecoder::holds(int64_t frame)
{
    if (!seekDecoder(frame))
        return false;
    return (blockEnd() > frame || decodeNext()) && blockStart_ <= frame && blockEnd() > frame;
}

/// Where the last frame that is whole ends, looked for from the end of the file on.
int64_t FLACDecoder::lastFrameEnd()
{
    const int64_t size = range_.end - range_.begin;
    for (int64_t bytes = kFirstTailBytes;; bytes *= 4) {
        FLAC__stream_decoder_flush(decoder_.get());
        offset_ = std::max<int64_t>(size - bytes, 0);
        int64_t end = 0;
        while (decodeNext())
            end = std::max(end, blockEnd());
        if (end > 0 || bytes >= size || source_->error() != noErr)
            return end;
    }
}

OSStatus FLACDecoder::seek(int64_t frame)
{
    isStanding_ = isStanding_ && frame >= blockStart_ && frame <= blockEnd();
    return BlockDecoder::seek(frame);
}

BlockDecoder::Block FLACDecoder::block()
{
    if (!prepare())
        return {};
    if (position_ < blockStart_)
        return {nullptr, blockStart_ - position_};
    return {block_.data() + static_cast<std::size_t>(position_ - blockStart_) * format_.frameBytes(),
            blockEnd() - position_};
}

/// Knows what is at position_: frames in the block, or that they are missing. False if they cannot be read.
bool FLACDecoder::prepare()
{
    if (!isStanding_ && !moveTo(position_))
        return false;
    while (position_ >= blockEnd() && position_ >= blockStart_) {
        if (decodeNext())
            continue;
        isStanding_ = false;
        if (isCutShort_ || source_->error() != noErr)
            return false;
        isStanding_ = true;
        blockStart_ = format_.frames; // there is nothing more: the rest is missing
        blockFrames_ = 0;
    }
    return true;
}

/// Goes to a frame, or in front of it where what is damaged hides it.
bool FLACDecoder::moveTo(int64_t frame)
{
    isStanding_ = seekDecoder(frame);
    for (int64_t back = kFirstStepBack; !isStanding_ && source_->error() == noErr && back < frame; back *= 4)
        isStanding_ = seekDecoder(frame - back);
    if (!isStanding_)
        isStanding_ = FLAC__stream_decoder_reset(decoder_.get()) != 0 &&
                      FLAC__stream_decoder_process_until_end_of_metadata(decoder_.get()) != 0;
    return isStanding_;
}

bool FLACDecoder::seekDecoder(int64_t frame)
{
    blockStart_ = blockFrames_ = 0;
    isDamaged_ = false;
    FLAC__stream_decoder_flush(decoder_.get());
    return FLAC__stream_decoder_seek_absolute(decoder_.get(), static_cast<FLAC__uint64>(frame)) != 0;
}

/// Has the next frame that is whole in block_; false at the end.
bool FLACDecoder::decodeNext()
{
    blockStart_ = blockFrames_ = 0;
    while (blockFrames_ == 0) {
        isDamaged_ = false;
        if (FLAC__stream_decoder_process_single(decoder_.get()) == 0 ||
            FLAC__stream_decoder_get_state(decoder_.get()) == FLAC__STREAM_DECODER_END_OF_STREAM)
            return blockFrames_ > 0;
    }
    return true;
}

void FLACDecoder::take(const FLAC__Frame &frame, const FLAC__int32 *const *planes)
{
    const auto &header = frame.header;
    const auto start = static_cast<int64_t>(header.number.sample_number);
    if (isDamaged_ || header.channels != format_.channels || header.bits_per_sample != bits_ || start < 0 ||
        start >= format_.frames)
        return;
    blockStart_ = start;
    blockFrames_ = std::min<int64_t>(header.blocksize, format_.frames - start);
    block_.resize(std::max(block_.size(), std::size_t{header.blocksize} * format_.frameBytes()));
    if (format_.kind == SampleKind::Int16) {
        const uint32_t shift = 16 - bits_;
        interleave<int16_t>(planes, header.channels, header.blocksize, block_.data(),
                            [shift](FLAC__int32 s) { return static_cast<int16_t>(s << shift); });
    } else {
        const auto scale = std::ldexp(1.0F, 1 - static_cast<int>(bits_));
        interleave<float>(planes, header.channels, header.blocksize, block_.data(),
                          [scale](FLAC__int32 s) { return static_cast<float>(s) * scale; });
    }
}

} // namespace kx
