#pragma once

#include "KXFW/Platform/AudioFiles/Codecs/Decoder.h"

namespace kx
{

/// A decoder whose library gives the sound block by block. It hands out the frames of one block after the other from
/// position_ on; a seek only sets position_, so that what it costs is paid by the read that follows.
class BlockDecoder : public Decoder
{
public:
    [[nodiscard]] const DecodedFormat &format() const noexcept final { return format_; }
    StatusOr<uint32_t> read(void *interleaved, uint32_t frames) final;
    OSStatus seek(int64_t frame) override;

protected:
    struct Block {
        const void *frames; ///< interleaved, until the next call; null where they are missing, which is silence
        int64_t count;      ///< 0: they cannot be read
    };
    /// What there is from position_ on, which lies in front of the end. [blocks]
    virtual Block block() = 0;
    /// Why the last block was empty; noErr where the file ends early. [any]
    [[nodiscard]] virtual OSStatus failure() const noexcept = 0;

    DecodedFormat format_{};
    int64_t position_ = 0; ///< the next frame to deliver
};

} // namespace kx
