#pragma once

#include "KXFW/Platform/Foundation/Export.h"

#include <cstdint>
#include <memory>
#include <string>

/// A circular buffer of bytes, of fixed size.
///
/// Equal positions mean empty. The 4 bytes in front of the read position always stay free, so that a full ring never
/// looks like an empty one: at most size - 4 bytes are stored. There is no locking inside: whoever owns the ring makes
/// every call from one serial queue. Nothing is allocated after construction, and a transfer is at most two copies.
class KX_EXPORT KXRingBuffer
{
public:
    /// An empty ring of `size` bytes, more than 4. Throws std::bad_alloc where there is no memory. [any]
    explicit KXRingBuffer(uint64_t size);
    ~KXRingBuffer();
    KXRingBuffer(const KXRingBuffer &) = delete;
    KXRingBuffer &operator=(const KXRingBuffer &) = delete;

    // The fields, as they stand. All [queue: the owner's].
    [[nodiscard]] void *buffer() const noexcept;
    /// Replaces the storage by `size` bytes from the C allocator, which the ring then owns; the old is the caller's.
    void setBuffer(void *buffer) noexcept;
    [[nodiscard]] uint64_t size() const noexcept;
    void setSize(uint64_t size) noexcept;
    [[nodiscard]] uint64_t writePos() const noexcept;
    void setWritePos(uint64_t position) noexcept;
    [[nodiscard]] uint64_t readPos() const noexcept;
    void setReadPos(uint64_t position) noexcept;

    /// Stores the first `size` bytes of `source`, or as many as there is room for. Returns `size` as it was asked, also
    /// when the write was cut; 0 when the ring was full. [queue: the owner's]
    uint64_t write(const void *source, uint64_t size) noexcept;

    /// Copies up to `size` stored bytes to `destination` and returns how many; with `proceeds` they are consumed, else
    /// they can be read again. [queue: the owner's]
    uint64_t read(void *destination, uint64_t size, bool proceeds) noexcept;

    /// Drops what is stored; the storage is not touched. [queue: the owner's]
    void clear() noexcept;

    /// Bytes from position `from` forward to position `to`, around the end of the storage. [queue: the owner's]
    [[nodiscard]] uint64_t distance(uint64_t from, uint64_t to) const noexcept;
    [[nodiscard]] uint64_t count() const noexcept; ///< Bytes stored. [queue: the owner's]
    [[nodiscard]] uint64_t space() const noexcept; ///< Bytes that can still be written. [queue: the owner's]

    /// "sz: .., sp: .., c: .., r: .., w: ..": size, space, count, read and write position. [queue: the owner's]
    [[nodiscard]] std::string description() const;

private:
    struct Impl;
    const std::unique_ptr<Impl> impl_;
};
