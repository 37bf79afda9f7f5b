#pragma once

#include "KXFW/Platform/Foundation/AudioTypes.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace kx
{

/// Keeps the client frames that were decoded right after the last few seeks, so that a loop's wrap costs a copy and no
/// decoding. Three segments of up to 1.5 s, 800,000 bytes in all, the least recently used replaced first. One thread at
/// a time; allocates in `aim` only, once.
class SeekCache
{
public:
    explicit SeekCache(const AudioStreamBasicDescription &client) noexcept;

    /// A seek went to client frame `frame`: what is decoded from there on is worth keeping. [any]
    void aim(int64_t frame) noexcept;

    /// Copies up to `frames` kept frames from number `frame` on into `out` at `first`: how many, 0 if none is kept.
    /// [any] [render]
    uint32_t copy(int64_t frame, uint32_t frames, AudioBufferList &out, uint32_t first) noexcept;

    /// Frames `first` to `first + frames` of `in` are client frames from number `frame` on. Keeps those within reach of
    /// the last seek. [any] [render]
    void record(int64_t frame, uint32_t frames, const AudioBufferList &in, uint32_t first) noexcept;

private:
    struct Segment {
        int64_t start = 0;
        uint32_t count = 0;
        uint64_t lastUse = 0;
    };
    static constexpr std::size_t kSegments = 3;

    Segment *holding(int64_t frame) noexcept;
    Segment &segmentToExtend(int64_t frame) noexcept;
    [[nodiscard]] std::byte *place(const Segment &segment, uint32_t buffer, uint32_t frame) const noexcept;

    AudioStreamBasicDescription client_;
    uint32_t buffers_;
    uint32_t capacity_; ///< frames a segment
    int64_t recordEnd_ = 0;
    uint64_t uses_ = 0;
    std::array<Segment, kSegments> segments_;
    std::unique_ptr<std::byte[]> memory_;
};

} // namespace kx
