#include "Tests/Support/RenderGuard.h"

#include "KXFW/Platform/AudioUnits/RenderScope.h"
#include "Tests/Support/HeapFill.h"

#include <atomic>

#ifndef KX_SANITIZED
#include <dlfcn.h>
#include <malloc.h>
#include <pthread.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#endif

namespace
{

std::atomic<uint64_t> allocations{0};
std::atomic<uint64_t> frees{0};
std::atomic<uint64_t> locks{0};
std::atomic<uint64_t> exempted{0};
std::atomic<int> heapFill{-1}; ///< the byte that new memory holds; negative: as it comes

#ifndef KX_SANITIZED
void count(std::atomic<uint64_t> &counter) noexcept
{
    if (kx::RenderScope::depth() > 0)
        (kx::RenderExemption::depth() > 0 ? exempted : counter).fetch_add(1, std::memory_order_relaxed);
}

/// The new block, counted, its bytes from `begin` to `end` filled.
void *taken(void *block, size_t begin, size_t end) noexcept
{
    count(allocations);
    const int byte = heapFill.load(std::memory_order_relaxed);
    if (byte >= 0 && block && begin < end)
        std::memset(static_cast<char *>(block) + begin, byte, end - begin);
    return block;
}
#endif

} // namespace

#ifndef KX_SANITIZED

// The C library's functions under their own names, so that every library of the program comes through here.
#define KX_INTERPOSE extern "C" __attribute__((visibility("default")))

extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *block, size_t size);
void *__libc_memalign(size_t alignment, size_t size);
void __libc_free(void *block);
}

KX_INTERPOSE void *malloc(size_t size) noexcept
{
    return taken(__libc_malloc(size), 0, size);
}

KX_INTERPOSE void *calloc(size_t number, size_t size) noexcept
{
    return taken(__libc_calloc(number, size), 0, 0);
}

KX_INTERPOSE void *realloc(void *block, size_t size) noexcept
{
    const size_t before = block ? malloc_usable_size(block) : 0;
    return taken(__libc_realloc(block, size), before, size);
}

KX_INTERPOSE void *memalign(size_t alignment, size_t size) noexcept
{
    return taken(__libc_memalign(alignment, size), 0, size);
}

KX_INTERPOSE void *aligned_alloc(size_t alignment, size_t size) noexcept
{
    return memalign(alignment, size);
}

KX_INTERPOSE int posix_memalign(void **block, size_t alignment, size_t size) noexcept
{
    *block = memalign(alignment, size);
    return *block ? 0 : ENOMEM;
}

KX_INTERPOSE void free(void *block) noexcept
{
    if (block)
        count(frees);
    __libc_free(block);
}

KX_INTERPOSE int pthread_mutex_lock(pthread_mutex_t *mutex) noexcept
{
    using Lock = int (*)(pthread_mutex_t *);
    static std::atomic<Lock> next{nullptr}; // found by whoever comes first; no guard, which could lock in turn
    Lock lock = next.load(std::memory_order_relaxed);
    if (!lock) {
        lock = reinterpret_cast<Lock>(dlsym(RTLD_NEXT, "pthread_mutex_lock"));
        next.store(lock, std::memory_order_relaxed);
    }
    constexpr int kInheritsPriority = 32;
    if (!(mutex->__data.__kind & kInheritsPriority))
        count(locks);
    return lock(mutex);
}

#endif

namespace kx::test
{

HeapFill::HeapFill(uint8_t byte) noexcept
{
    heapFill = byte;
}

HeapFill::~HeapFill()
{
    heapFill = -1;
}

RenderGuard::Counts RenderGuard::total() noexcept
{
    return {allocations, frees, locks, exempted};
}

RenderGuard::Counts RenderGuard::counts() const noexcept
{
    const Counts now = total();
    return {now.allocations - before_.allocations, now.frees - before_.frees, now.locks - before_.locks,
            now.exempted - before_.exempted};
}

bool RenderGuard::isClean() const noexcept
{
    const Counts now = counts();
    return now.allocations + now.frees + now.locks == 0;
}

bool RenderGuard::works() noexcept
{
#ifdef KX_SANITIZED
    return false;
#else
    return true;
#endif
}

} // namespace kx::test
