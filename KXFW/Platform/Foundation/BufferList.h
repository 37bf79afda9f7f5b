#pragma once

#include "KXFW/Platform/Foundation/AudioTypes.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>

namespace kx
{

/// A buffer list of any number of buffers, and the memory they point to. Made once, refilled for each slice.
/// Not for two threads at once.
class BufferList
{
public:
    /// `buffers` buffers of `channelsPerBuffer` channels and `bytesPerBuffer` zeroed bytes each. Allocates. [any]
    BufferList(uint32_t buffers, uint32_t channelsPerBuffer, uint32_t bytesPerBuffer)
        : bytesPerBuffer_(bytesPerBuffer), stride_((static_cast<std::size_t>(bytesPerBuffer) + 63) / 64 * 64),
          list_(std::make_unique<std::byte[]>(sizeof(AudioBufferList) + std::max(buffers, 1u) * sizeof(AudioBuffer))),
          samples_(std::make_unique<std::byte[]>(stride_ * buffers))
    {
        get()->mNumberBuffers = buffers;
        for (uint32_t i = 0; i < buffers; ++i)
            get()->mBuffers[i] = {channelsPerBuffer, bytesPerBuffer, samples_.get() + i * stride_};
    }

    [[nodiscard]] AudioBufferList *get() const noexcept { return reinterpret_cast<AudioBufferList *>(list_.get()); }

    /// The bytes of buffer `i`. [render]
    [[nodiscard]] std::byte *data(uint32_t i) const noexcept { return samples_.get() + i * stride_; }

    /// Points every buffer at its own memory again and announces `bytes` (at most the room) in each. [render]
    void rewind(uint32_t bytes) noexcept
    {
        for (uint32_t i = 0; i < get()->mNumberBuffers; ++i) {
            get()->mBuffers[i].mDataByteSize = std::min(bytes, bytesPerBuffer_);
            get()->mBuffers[i].mData = data(i);
        }
    }

private:
    uint32_t bytesPerBuffer_;
    std::size_t stride_;
    std::unique_ptr<std::byte[]> list_;
    std::unique_ptr<std::byte[]> samples_;
};

/// Fills every buffer of `list` with zeros. [render]
inline void silence(AudioBufferList &list) noexcept
{
    for (uint32_t i = 0; i < list.mNumberBuffers; ++i)
        if (list.mBuffers[i].mData)
            std::memset(list.mBuffers[i].mData, 0, list.mBuffers[i].mDataByteSize);
}

} // namespace kx
