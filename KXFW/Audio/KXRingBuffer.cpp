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

KXRingBuffer::KXRingBuffer(uint64_t size) : buffer_(allocate(size)), size_(size)
{
    if (!buffer_)
        throw std::bad_alloc();
    clear();
}

KXRingBuffer::~KXRingBuffer()
{
    std::free(buffer_);
}

uint64_t KXRingBuffer::write(const void *source, uint64_t size) noexcept
{
    const uint64_t room = space();
    if (room == 0)
        return 0;
    const uint64_t stored = std::min(room, size);
    const uint64_t untilEnd = std::min(stored, size_ - writePos_);
    const auto *bytes = static_cast<const char *>(source);
    std::memcpy(buffer_ + writePos_, bytes, untilEnd);
    std::memcpy(buffer_, bytes + untilEnd, stored - untilEnd);
    setWritePos((writePos_ + stored) % size_);
    return size;
}

uint64_t KXRingBuffer::read(void *destination, uint64_t size, bool proceeds) noexcept
{
    const uint64_t taken = std::min(count(), size);
    if (taken == 0)
        return 0;
    const uint64_t untilEnd = std::min(taken, size_ - readPos_);
    auto *bytes = static_cast<char *>(destination);
    std::memcpy(bytes, buffer_ + readPos_, untilEnd);
    std::memcpy(bytes + untilEnd, buffer_, taken - untilEnd);
    if (proceeds)
        setReadPos((readPos_ + taken) % size_);
    return taken;
}

void KXRingBuffer::clear() noexcept
{
    setReadPos(0);
    setWritePos(0);
}

uint64_t KXRingBuffer::distance(uint64_t from, uint64_t to) const noexcept
{
    return to >= from ? to - from : to + size_ - from;
}

uint64_t KXRingBuffer::count() const noexcept
{
    return distance(readPos_, writePos_);
}

uint64_t KXRingBuffer::space() const noexcept
{
    const uint64_t ahead = distance(writePos_, readPos_);
    return (ahead != 0 ? ahead : size_) - kBytesKeptFree;
}

std::string KXRingBuffer::description() const
{
    const std::array<kx::LogArgument, 5> values{size_, space(), count(), readPos_, writePos_};
    return kx::formatted("sz: %lu, sp: %lu, c: %lu, r: %lu, w: %lu", values);
}
