#pragma once

#include "KXFW/Platform/AudioFiles/Codecs/Decoder.h"

#include <functional>
#include <vector>

namespace kx
{

/// One of several streams of sound that a file has one after the other.
struct ChainLink {
    DecodedFormat format;
    std::function<DecoderResult()> open; ///< opened when it is reached, so that only one is at a time
};

/// Decodes the links one after the other, without a gap, in the format of the first. Links of another rate or channel
/// count are converted to it; those of another kind of samples make all of them floats.
class ChainDecoder final : public Decoder
{
public:
    /// There is at least one link; a single one comes as it is. [blocks]
    static DecoderResult make(std::vector<ChainLink> links);

    [[nodiscard]] const DecodedFormat &format() const noexcept override { return format_; }
    StatusOr<uint32_t> read(void *interleaved, uint32_t frames) override;
    OSStatus seek(int64_t frame) override;

private:
    struct Part {
        ChainLink link;
        int64_t start; ///< in frames of the chain
        int64_t frames;
    };

    explicit ChainDecoder(std::vector<ChainLink> links);
    OSStatus enter(std::size_t part);
    [[nodiscard]] std::size_t partAt(int64_t frame) const noexcept;

    std::vector<Part> parts_;
    DecodedFormat format_;
    std::unique_ptr<Decoder> decoder_; ///< of the part entered_
    std::size_t entered_ = SIZE_MAX;
    int64_t position_ = 0;        ///< the next frame to deliver
    int64_t decoderPosition_ = 0; ///< the frame of the chain that decoder_ gives next
};

} // namespace kx
