#pragma once

#include "KXFW/Platform/AudioFiles/Codecs/VirtualFile.h"

#include <vector>

namespace kx
{

/// Decodes through libsndfile: the compressed kinds that PCM containers hold.
class SndfileDecoder final : public Decoder
{
public:
    /// Looks whether the last frame of the stated length is there, and counts what is if it is not. [blocks]
    static DecoderResult make(std::unique_ptr<VirtualFile> file, SndfileHandlePointer handle,
                              const DecodedFormat &format);

    [[nodiscard]] const DecodedFormat &format() const noexcept override { return format_; }
    StatusOr<uint32_t> read(void *interleaved, uint32_t frames) override;
    OSStatus seek(int64_t frame) override;

private:
    SndfileDecoder(std::unique_ptr<VirtualFile> file, SndfileHandlePointer handle, const DecodedFormat &format);
    OSStatus measure();
    OSStatus count();
    uint32_t decode(void *interleaved, uint32_t frames);
    uint32_t standIn(void *interleaved, uint32_t frames);
    OSStatus restart();
    bool skip(int64_t frames);

    std::unique_ptr<VirtualFile> file_;
    SndfileHandlePointer handle_; ///< after file_: closed before it goes
    DecodedFormat format_;
    int64_t position_ = 0;            ///< frame that is read next
    int64_t handleFrame_ = 0;         ///< frame that the handle gives next; -1 unknown
    int64_t unreachable_ = INT64_MAX; ///< a frame that damage keeps a decode from the start from
    std::vector<float> skipped_;
};

} // namespace kx
