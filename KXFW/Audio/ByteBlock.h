#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace kx
{

/// A block of bytes of fixed length that owns its memory; the contents start undefined.
class ByteBlock
{
public:
    explicit ByteBlock(uint64_t length) : bytes_(new std::byte[length]), length_(length) {} ///< [any]

    [[nodiscard]] std::byte *bytes() const noexcept { return bytes_.get(); } ///< [any]
    [[nodiscard]] uint64_t length() const noexcept { return length_; }       ///< [any]

private:
    std::unique_ptr<std::byte[]> bytes_;
    uint64_t length_;
};

} // namespace kx
