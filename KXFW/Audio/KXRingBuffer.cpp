#include "KXFW/Audio/KXRingBuffer.h"

#include "KXFW/Platform/Foundation/NSLog.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <new>
#include <sys/mman.h>

namespace
{

constexpr uint64_t kBytesKeptFree = 4;
constexpr uint64_t kHugePage = 2 << 20;

/// Large rings are made of huge pages where the system has some, so that a lap of 16 MiB meets some 500 page faults,
/// not 4096. Not the first of them: a player that reads little takes little.
char *allocate(uint64_t size)
{
    if (size == 0 || size % kHugePage != 0)
        return static_cast<char *>(std::malloc(std::max<uint64_t>(size, 1)));
    void *const bytes = std::aligned_alloc(kHugePage, size);
    if (bytes)
        madvise(static_cast<char *>(bytes) + kHugePage, size - kHugePage, MADV_HUGEPAGE);
    return static_cast<char *>(bytes);
}

} // namespace

/// Equal positions mean empty.
struct KXRingBuffer::Impl {
    char *buffer = nullptr;
    uint64_t size = 0;
    uint64_t writePos = 0;
    uint64_t readPos = 0;

    [[nodiscard]] uint64_t distance(uint64_t from, uint64_t to) const noexcept
    {
        return to >= from ? to - from : to + size - from;
    }
    [[nodiscard]] uint64_t count() const noexcept { return distance(readPos, writePos); }
    [[nodiscard]] uint64_t space() const noexcept
    {
        const uint64_t ahead = distance(writePos, readPos);
        return (ahead != 0 ? ahead : size) - kBytesKeptFree;
    }
};

KXRingBuffer::KXRingBuffer(uint64_t size) : impl_(std::make_unique<Impl>())
{
    impl_->buffer = allocate(size);
    impl_->size = size;
    if (!impl_->buffer)
        throw std::bad_alloc();
}

KXRingBuffer::~KXRingBuffer()
{
    std::free(impl_->buffer);
}

uint64_t KXRingBuffer::write(const void *source, uint64_t size) noexcept
{
    Impl &ring = *impl_;
    const uint64_t room = ring.space();
    if (room == 0)
        return 0;
    const uint64_t stored = std::min(room, size);
    const uint64_t untilEnd = std::min(stored, ring.size - ring.writePos);
    const auto *bytes = static_cast<const char *>(source);
    std::memcpy(ring.buffer + ring.writePos, bytes, untilEnd);
    std::memcpy(ring.buffer, bytes + untilEnd, stored - untilEnd);
    ring.writePos = (ring.writePos + stored) % ring.size;
    return size;
}

uint64_t KXRingBuffer::read(void *destination, uint64_t size, bool proceeds) noexcept
{
    Impl &ring = *impl_;
    const uint64_t taken = std::min(ring.count(), size);
    if (taken == 0)
        return 0;
    const uint64_t untilEnd = std::min(taken, ring.size - ring.readPos);
    auto *bytes = static_cast<char *>(destination);
    std::memcpy(bytes, ring.buffer + ring.readPos, untilEnd);
    std::memcpy(bytes + untilEnd, ring.buffer, taken - untilEnd);
    if (proceeds)
        ring.readPos = (ring.readPos + taken) % ring.size;
    return taken;
}

void KXRingBuffer::clear() noexcept
{
    impl_->readPos = impl_->writePos = 0;
}

uint64_t KXRingBuffer::distance(uint64_t from, uint64_t to) const noexcept
{
    return impl_->distance(from, to);
}

uint64_t KXRingBuffer::count() const noexcept
{
    return impl_->count();
}

uint64_t KXRingBuffer::space() const noexcept
{
    return impl_->space();
}

std::string KXRingBuffer::description() const
{
    const std::array<kx::LogArgument, 5> values{size(), space(), count(), readPos(), writePos()};
    return kx::formatted("sz: %lu, sp: %lu, c: %lu, r: %lu, w: %lu", values);
}

void *KXRingBuffer::buffer() const noexcept
{
    return impl_->buffer;
}

void KXRingBuffer::setBuffer(void *buffer) noexcept
{
    impl_->buffer = static_cast<char *>(buffer);
}

uint64_t KXRingBuffer::size() const noexcept
{
    return impl_->size;
}

void KXRingBuffer::setSize(uint64_t size) noexcept
{
    impl_->size = size;
}

uint64_t KXRingBuffer::writePos() const noexcept
{
    return impl_->writePos;
}

void KXRingBuffer::setWritePos(uint64_t position) noexcept
{
    impl_->writePos = position;
}

uint64_t KXRingBuffer::readPos() const noexcept
{
    return impl_->readPos;
}

void KXRingBuffer::setReadPos(uint64_t position) noexcept
{
    impl_->readPos = position;
}
