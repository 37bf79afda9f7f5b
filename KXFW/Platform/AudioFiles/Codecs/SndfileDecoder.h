#pragma once

#include "KXFW/Platform/AudioFiles/Codecs/VirtualFile.h"

#include <vector>

namespace kx
{

/// Decodes through libsndfile: FLAC, Ogg, and the compressed kinds that PCM containers hold.
class SndfileDecoder final : public Decoder
{
public:
    /// How a seek comes near its target: decoding starts `preroll` frames early, for codecs whose state needs them,
    /// and never past frame `latest`, from where on the library's own positions are not to be trusted.
    struct Approach {
        int64_t preroll;
        int64_t latest;
    };

    enum class Length { Certain, Stated };

    /// Looks whether the last frame of a stated length is there, and counts what is if it is not. [blocks]
    static DecoderResult make(std::unique_ptr<VirtualFile> file, SndfileHandlePointer handle,
                              const DecodedFormat &format, Approach approach, Length length);

    [[nodiscard]] const DecodedFormat &format() const noexcept override { return format_; }
    Result<uint32_t> read(void *interleaved, uint32_t frames) override;
    OSStatus seek(int64_t frame) override;

private:
    SndfileDecoder(std::unique_ptr<VirtualFile> file, SndfileHandlePointer handle, const DecodedFormat &format,
                   Approach approach);
    OSStatus measure();
    OSStatus count();
    uint32_t decode(void *interleaved, uint32_t frames);
    OSStatus restart();
    OSStatus skip(int64_t frames);

    std::unique_ptr<VirtualFile> file_;
    SndfileHandlePointer handle_; ///< after file_: closed before it goes
    DecodedFormat format_;
    Approach approach_;
    int64_t position_ = 0;    ///< frame that is read next
    int64_t handleFrame_ = 0; ///< frame that the handle gives next; -1 unknown
    std::vector<float> skipped_;
};

} // namespace kx
