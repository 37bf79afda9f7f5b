#pragma once

#include "KXFW/Platform/AudioFiles/Codecs/BlockDecoder.h"

#include <FLAC/stream_decoder.h>

#include <cstddef>
#include <vector>

namespace kx
{

/// Decodes FLAC through libFLAC, as a file of its own or as a stream in Ogg pages. Frames keep the places that they
/// name, so that what is damaged between them is silent and the sound behind it stays where it was.
class FLACDecoder final : public BlockDecoder
{
public:
    /// A stream in `range` of the file. Looks whether the last frame of the stated length is there, and for the last
    /// one that is if it is not. [blocks]
    static DecoderResult make(std::shared_ptr<ByteSource> source, ByteRange range);
    static DecoderResult makeInOgg(std::shared_ptr<ByteSource> source, ByteRange range, uint32_t serial);
    ~FLACDecoder() override;

    OSStatus seek(int64_t frame) override;

private:
    struct DecoderDeleter {
        void operator()(FLAC__StreamDecoder *decoder) const noexcept { FLAC__stream_decoder_delete(decoder); }
    };
    struct Callbacks;

    using Initialiser = decltype(FLAC__stream_decoder_init_stream);

    FLACDecoder(std::shared_ptr<ByteSource> source, ByteRange range);
    static DecoderResult open(Initialiser *initialise, std::shared_ptr<ByteSource> source, ByteRange range,
                              uint32_t serial);
    OSStatus start();
    OSStatus measure();
    bool holds(int64_t frame);
    int64_t lastFrameEnd();
    [[nodiscard]] OSStatus openingFailure() const noexcept;
    [[nodiscard]] OSStatus failure() const noexcept override { return source_->error(); }
    Block block() override;

    bool prepare();
    bool moveTo(int64_t frame);
    bool seekDecoder(int64_t frame);
    bool decodeNext();
    void take(const FLAC__Frame &frame, const FLAC__int32 *const *planes);
    [[nodiscard]] int64_t blockEnd() const noexcept { return blockStart_ + blockFrames_; }

    std::shared_ptr<ByteSource> source_;
    ByteRange range_;
    std::unique_ptr<FLAC__StreamDecoder, DecoderDeleter> decoder_;
    uint32_t bits_ = 0; ///< a sample; 0 before the stream's description was read

    int64_t offset_ = 0;      ///< of the byte in the range that the library reads next
    bool isCutShort_ = false; ///< the file has become shorter than it was
    bool isDamaged_ = false;  ///< the frame at hand is
    bool isStanding_ = false; ///< the library goes on at or before position_
    int64_t blockStart_ = 0;  ///< what lies between position_ and this is missing
    int64_t blockFrames_ = 0;
    std::vector<std::byte> block_;
};

} // namespace kx
