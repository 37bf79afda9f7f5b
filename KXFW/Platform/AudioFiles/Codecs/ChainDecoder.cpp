#include "KXFW/Platform/AudioFiles/Codecs/ChainDecoder.h"

#include "KXFW/Platform/AudioFiles/ClientStream.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <algorithm>

namespace kx
{

namespace
{

bool isAlike(const DecodedFormat &a, const DecodedFormat &b)
{
    return a.kind == b.kind && a.channels == b.channels && a.rate == b.rate;
}

/// A decoder's sound in the format of another.
class ConvertedDecoder final : public Decoder
{
public:
    static DecoderResult make(std::unique_ptr<Decoder> decoder, const DecodedFormat &wanted)
    {
        const auto client = wanted.kind == SampleKind::Int16
                                ? interleaved(wanted.rate, wanted.channels, 16, kAudioFormatFlagIsSignedInteger)
                                : interleaved(wanted.rate, wanted.channels, 32, kAudioFormatFlagIsFloat);
        auto stream = ClientStream::make(*decoder, client);
        if (!stream)
            return stream.status();
        return std::unique_ptr<Decoder>(new ConvertedDecoder(std::move(decoder), *std::move(stream), wanted));
    }

    [[nodiscard]] const DecodedFormat &format() const noexcept override { return format_; }
    StatusOr<uint32_t> read(void *out, uint32_t frames) override
    {
        const auto wanted = static_cast<uint32_t>(std::min<int64_t>(frames, format_.frames - position_));
        AudioBufferList list{1, {{format_.channels, wanted * stream_->client().mBytesPerFrame, out}}};
        auto made = stream_->read(list, 0, wanted);
        position_ += made ? *made : 0;
        return made;
    }
    OSStatus seek(int64_t frame) override
    {
        position_ = frame;
        return stream_->moveTo(frame);
    }

private:
    ConvertedDecoder(std::unique_ptr<Decoder> decoder, std::unique_ptr<ClientStream> stream,
                     const DecodedFormat &wanted)
        : decoder_(std::move(decoder)), stream_(std::move(stream)), format_(wanted)
    {
        format_.frames = stream_->length();
    }

    std::unique_ptr<Decoder> decoder_;
    std::unique_ptr<ClientStream> stream_;
    DecodedFormat format_;
    int64_t position_ = 0;
};

} // namespace

DecoderResult ChainDecoder::make(std::vector<ChainLink> links)
{
    if (links.size() == 1)
        return links.front().open();
    std::unique_ptr<ChainDecoder> chain(new ChainDecoder(std::move(links)));
    if (const OSStatus status = chain->enter(0); status != noErr)
        return status;
    return std::unique_ptr<Decoder>(std::move(chain));
}

ChainDecoder::ChainDecoder(std::vector<ChainLink> links) : format_(links.front().format)
{
    if (!std::ranges::all_of(links, [&](const ChainLink &link) { return link.format.kind == format_.kind; }))
        format_.kind = SampleKind::Float32;
    format_.frames = 0;
    for (ChainLink &link : links) {
        const int64_t frames = FrameMath(link.format.rate, format_.rate).outFloor(link.format.frames);
        parts_.push_back({std::move(link), format_.frames, frames});
        format_.frames += frames;
    }
}

StatusOr<uint32_t> ChainDecoder::read(void *interleaved, uint32_t frames)
{
    const std::size_t frameBytes = format_.frameBytes();
    const auto wanted = static_cast<uint32_t>(std::min<int64_t>(frames, format_.frames - position_));
    uint32_t done = 0;
    while (done < wanted) {
        const std::size_t part = partAt(position_);
        OSStatus status = enter(part);
        if (status == noErr && decoderPosition_ != position_)
            status = decoder_->seek(position_ - parts_[part].start);
        if (status != noErr) {
            entered_ = SIZE_MAX;
            return done > 0 ? StatusOr<uint32_t>(done) : status;
        }
        decoderPosition_ = position_;
        const auto inPart = std::min<int64_t>(wanted - done, parts_[part].start + parts_[part].frames - position_);
        const auto made =
            decoder_->read(static_cast<std::byte *>(interleaved) + done * frameBytes, static_cast<uint32_t>(inPart));
        if (!made)
            entered_ = SIZE_MAX;
        if (!made || *made == 0)
            return made || done > 0 ? StatusOr<uint32_t>(done) : made.status();
        done += *made;
        position_ += *made;
        decoderPosition_ += *made;
    }
    return done;
}

OSStatus ChainDecoder::seek(int64_t frame)
{
    if (frame < 0 || frame > format_.frames)
        return kExtAudioFileError_InvalidSeek;
    position_ = frame;
    return noErr;
}

/// Has decoder_ be that of a part, at its start if it was not before.
OSStatus ChainDecoder::enter(std::size_t part)
{
    if (part == entered_)
        return noErr;
    entered_ = SIZE_MAX;
    auto opened = parts_[part].link.open();
    if (opened && !isAlike((*opened)->format(), format_))
        opened = ConvertedDecoder::make(*std::move(opened), format_);
    if (!opened)
        return opened.status();
    decoder_ = *std::move(opened);
    entered_ = part;
    decoderPosition_ = parts_[part].start;
    return noErr;
}

/// The part that holds a frame of the chain.
std::size_t ChainDecoder::partAt(int64_t frame) const noexcept
{
    const auto behind = std::ranges::upper_bound(parts_, frame, {}, &Part::start);
    return static_cast<std::size_t>(behind - parts_.begin()) - 1;
}

} // namespace kx
