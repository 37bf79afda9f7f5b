#pragma once

#include "KXFW/Platform/AudioFiles/Codecs/BlockDecoder.h"
#include "KXFW/Platform/AudioFiles/Codecs/OggLinks.h"

#include <vector>

namespace kx
{

/// Decodes one link of an Ogg file, Vorbis or Opus, packet by packet.
class OggLinkDecoder final : public BlockDecoder
{
public:
    /// Fails if the headers that were there are gone. [blocks]
    static DecoderResult make(std::shared_ptr<ByteSource> source, OggLink link);

private:
    OggLinkDecoder(std::shared_ptr<ByteSource> source, OggLink link, std::unique_ptr<OggCodec> codec);
    Block block() override;
    [[nodiscard]] OSStatus failure() const noexcept override { return source_->error(); }

    // Frames are numbered as they are decoded from here on, what is skipped in front of the sound included.
    [[nodiscard]] int64_t target() const noexcept { return link_.skip + position_; }
    [[nodiscard]] int64_t blockEnd() const noexcept { return blockStart_ + blockFrames_; }
    [[nodiscard]] int64_t segmentOf(int64_t frame) const noexcept;
    [[nodiscard]] int64_t segmentEnd(int64_t frame) const noexcept;
    [[nodiscard]] const OggEntry &entryFor(int64_t frame) const noexcept;
    bool prepare();
    bool restartFor(int64_t frame);
    bool decodeNext();
    const ogg_packet *nextPacket();

    std::shared_ptr<ByteSource> source_;
    OggLink link_;
    std::unique_ptr<OggCodec> codec_;
    OggPageReader pages_;
    OggPackets packets_;
    int64_t segment_ = -1; ///< that is being decoded; -1 none
    int64_t blockStart_ = 0;
    int64_t blockFrames_ = 0;
    std::vector<float> block_; ///< what the last packet gave
};

} // namespace kx
