#pragma once

#include "KXFW/Platform/AudioFiles/Codecs/MPEGFrameWalk.h"

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

struct mpg123_handle_struct;

namespace kx
{

/// Decodes whole MPEG audio frames one at a time; libmpg123 behind a call. Prints nothing, looks for no tags, trims
/// nothing.
class MPEGFrameDecoder
{
public:
    /// For frames of this format.
    explicit MPEGFrameDecoder(const MPEGFrameHeader &format);
    [[nodiscard]] bool isUsable() const noexcept { return handle_ != nullptr; }
    /// Forgets what went before, as if the next frame was the first.
    void restart() noexcept;
    /// Decodes a frame to `sound`, which has room for its samples of all channels. A frame that cannot be decoded, or
    /// whose sound begins in frames that were not seen, is silent.
    void decode(const MPEGFrameHeader &header, const uint8_t *bytes, std::span<float> sound) noexcept;

private:
    struct HandleDeleter {
        void operator()(mpg123_handle_struct *handle) const noexcept;
    };

    void prime(const MPEGFrameHeader &header, const uint8_t *bytes, std::span<float> sound) noexcept;
    const uint8_t *withoutMissingData(const MPEGFrameHeader &header, const uint8_t *bytes) noexcept;
    bool decodeWhole(const uint8_t *bytes, std::size_t count, std::span<float> sound) noexcept;

    std::unique_ptr<mpg123_handle_struct, HandleDeleter> handle_;
    std::vector<uint8_t> silenced_; ///< room for the frame that stands in for one without its data
    bool isPrimed_ = false;
    uint32_t reservoirBytes_ = 0; ///< main data of earlier frames that a frame may begin in
};

} // namespace kx
