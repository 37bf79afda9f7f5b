#include "KXFW/Platform/AudioFiles/Codecs/OggLinkDecoder.h"

#include "KXFW/Platform/AudioFiles/Codecs/FiniteSamples.h"

#include <algorithm>

namespace kx
{

DecoderResult OggLinkDecoder::make(std::shared_ptr<ByteSource> source, OggLink link)
{
    auto codec = makeOggCodec(*source, link);
    if (!codec || codec->channels() != link.format.channels)
        return source->error() != noErr ? source->error() : kAudioFileInvalidFileError;
    return std::unique_ptr<Decoder>(new OggLinkDecoder(std::move(source), std::move(link), std::move(codec)));
}

OggLinkDecoder::OggLinkDecoder(std::shared_ptr<ByteSource> source, OggLink link, std::unique_ptr<OggCodec> codec)
    : source_(std::move(source)), link_(std::move(link)), codec_(std::move(codec)), pages_(*source_, link_.bytes),
      packets_(link_.serial), block_(std::size_t{kMaximumPacketFrames} * link_.format.channels)
{
    format_ = link_.format;
}

BlockDecoder::Block OggLinkDecoder::block()
{
    if (!prepare())
        return {};
    const int64_t count = std::min(blockEnd(), segmentEnd(target())) - target();
    return {block_.data() + (target() - blockStart_) * format_.channels, count};
}

int64_t OggLinkDecoder::segmentOf(int64_t frame) const noexcept
{
    const int64_t length = codec_->approach().segment;
    return length == 0 ? 0 : frame / length;
}

int64_t OggLinkDecoder::segmentEnd(int64_t frame) const noexcept
{
    const int64_t length = codec_->approach().segment;
    return length == 0 ? INT64_MAX : (frame / length + 1) * length;
}

/// Where decoding starts for a frame. The same for all frames of a segment, so that each comes out one way only.
const OggEntry &OggLinkDecoder::entryFor(int64_t frame) const noexcept
{
    const auto [length, preroll] = codec_->approach();
    const int64_t from = length == 0 ? frame : frame / length * length - preroll;
    const auto behind = std::ranges::upper_bound(link_.index, from, {}, &OggEntry::frame);
    return behind == link_.index.begin() ? *behind : *std::prev(behind);
}

/// Has the frame at target() in block_; false if it cannot be read.
bool OggLinkDecoder::prepare()
{
    const bool isOnTheWay =
        segment_ == segmentOf(target()) && target() >= blockStart_ && entryFor(target()).frame <= blockEnd();
    if (!isOnTheWay && !restartFor(target()))
        return false;
    while (blockEnd() <= target())
        if (!decodeNext())
            return false;
    return true;
}

bool OggLinkDecoder::restartFor(int64_t frame)
{
    const OggEntry &entry = entryFor(frame);
    segment_ = -1;
    codec_->restart();
    packets_.restart();
    pages_.moveTo(entry.offset);
    for (int i = 0; i < entry.packets; ++i)
        if (nextPacket() == nullptr)
            return false;
    if (entry.frame > 0) { // its first packet only sets the codec up
        const ogg_packet *packet = nextPacket();
        if (packet == nullptr)
            return false;
        codec_->decode(*packet, codec_->framesOf(*packet).value_or(0), block_.data());
    }
    blockStart_ = entry.frame;
    blockFrames_ = 0;
    segment_ = segmentOf(frame);
    return true;
}

/// Decodes a packet to block_. After a failure the next call starts anew.
bool OggLinkDecoder::decodeNext()
{
    blockStart_ = blockEnd();
    blockFrames_ = 0;
    const ogg_packet *packet = nextPacket();
    if (packet == nullptr && !pages_.isAtEnd()) {
        segment_ = -1;
        return false;
    }
    if (packet == nullptr) { // fewer packets on this way than were counted: the length stands
        blockFrames_ = kMaximumPacketFrames;
        std::ranges::fill(block_, 0.0F);
        return true;
    }
    const auto frames = codec_->framesOf(*packet);
    if (!frames)
        return true;
    blockFrames_ = *frames;
    codec_->decode(*packet, *frames, block_.data());
    makeFinite(block_.data(), std::size_t{*frames} * format_.channels);
    return true;
}

const ogg_packet *OggLinkDecoder::nextPacket()
{
    while (true) {
        if (const ogg_packet *packet = packets_.next())
            return packet;
        ogg_page *page = pages_.next();
        if (page == nullptr)
            return nullptr;
        packets_.add(*page);
    }
}

} // namespace kx
