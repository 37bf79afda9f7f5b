#pragma once

#include "KXFW/Platform/AudioFiles/Codecs/Decoder.h"

#include <cstddef>
#include <memory>
#include <span>

namespace kx
{

/// Reads a byte source ahead in blocks that grow while reading goes straight on, so that short reads cost a copy and
/// a read after a seek fetches little more than it wants. Long reads go past it.
class ByteWindow
{
public:
    static constexpr int64_t kCapacity = 256 * 1024;

    explicit ByteWindow(ByteSource &source)
        : source_(source), memory_(std::make_unique_for_overwrite<std::byte[]>(kCapacity))
    {
    }

    /// Copies up to `count` bytes from `offset` on: the number copied, fewer only at the end. [blocks]
    StatusOr<int64_t> copy(int64_t offset, std::byte *out, int64_t count);

    /// Up to `count` (at most kCapacity) bytes from `offset` on where they lie, until the next call. [blocks]
    StatusOr<std::span<const std::byte>> view(int64_t offset, int64_t count);

private:
    [[nodiscard]] std::span<const std::byte> held(int64_t offset, int64_t count) const noexcept;
    OSStatus fill(int64_t offset, int64_t count);

    ByteSource &source_;
    std::unique_ptr<std::byte[]> memory_;
    int64_t start_ = 0;
    int64_t count_ = 0;
    int64_t nextFill_ = 0; ///< bytes to fetch if reading goes straight on
};

} // namespace kx
