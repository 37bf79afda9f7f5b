#include "Tests/Conversion/AllocationCount.h"

#include <cerrno>
#include <cstddef>

namespace
{

thread_local uint64_t count = 0;

} // namespace

uint64_t kx::allocationCount() noexcept
{
    return count;
}

#if !defined(KX_SANITIZED)

#define KX_INTERPOSE __attribute__((visibility("default")))

extern "C" {
void *__libc_malloc(std::size_t bytes);
void *__libc_calloc(std::size_t number, std::size_t bytes);
void *__libc_realloc(void *memory, std::size_t bytes);
void *__libc_memalign(std::size_t alignment, std::size_t bytes);

KX_INTERPOSE void *malloc(std::size_t bytes)
{
    ++count;
    return __libc_malloc(bytes);
}

KX_INTERPOSE void *calloc(std::size_t number, std::size_t bytes)
{
    ++count;
    return __libc_calloc(number, bytes);
}

KX_INTERPOSE void *realloc(void *memory, std::size_t bytes)
{
    ++count;
    return __libc_realloc(memory, bytes);
}

KX_INTERPOSE void *aligned_alloc(std::size_t alignment, std::size_t bytes)
{
    ++count;
    return __libc_memalign(alignment, bytes);
}

KX_INTERPOSE int posix_memalign(void **memory, std::size_t alignment, std::size_t bytes)
{
    ++count;
    *memory = __libc_memalign(alignment, bytes);
    return *memory ? 0 : ENOMEM;
}
}

#endif
