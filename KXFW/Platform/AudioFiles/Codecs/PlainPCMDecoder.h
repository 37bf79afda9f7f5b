#pragma once

#include "KXFW/Platform/AudioFiles/Codecs/ByteWindow.h"
#include "KXFW/Platform/AudioFiles/Codecs/Decoder.h"

namespace kx
{

/// Where the plain samples of a container lie. The layout is the file's data format.
struct PlainPCMLayout {
    AudioStreamBasicDescription format;
    int64_t dataOffset;
    int64_t frames;
};

/// Decodes interleaved PCM whose place in the file is known, without the container library: 16-bit samples go from the
/// disk straight to where they are wanted.
class PlainPCMDecoder final : public Decoder
{
public:
    PlainPCMDecoder(std::shared_ptr<ByteSource> source, const PlainPCMLayout &layout);

    [[nodiscard]] const DecodedFormat &format() const noexcept override { return format_; }
    StatusOr<uint32_t> read(void *interleaved, uint32_t frames) override;
    OSStatus seek(int64_t frame) override;
    bool setBigEndian(bool bigEndian) noexcept override;

private:
    StatusOr<uint32_t> read16(std::byte *out, uint32_t frames);
    StatusOr<uint32_t> readOther(std::byte *out, uint32_t frames);
    void convert(const std::byte *in, std::byte *out, uint32_t samples) const noexcept;
    [[nodiscard]] int64_t offsetOf(int64_t frame) const noexcept { return dataOffset_ + frame * frameBytes_; }

    std::shared_ptr<ByteSource> source_;
    ByteWindow window_;
    DecodedFormat format_;
    AudioStreamBasicDescription oneChannel_; ///< the file's samples seen as one channel
    int64_t dataOffset_;
    int64_t frameBytes_;
    int64_t position_ = 0;
    bool deliverBigEndian_ = false;
};

} // namespace kx
