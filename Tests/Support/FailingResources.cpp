#include "Tests/Support/FailingResources.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <dlfcn.h>
#include <new>
#include <pthread.h>

namespace
{

std::atomic<bool> threadsFail{false};
thread_local int allocationsLeft = -1; ///< below 0: none fails
thread_local bool allocationFailed = false;

[[maybe_unused]] bool allocationFails() noexcept
{
    if (allocationsLeft < 0 || allocationsLeft-- > 0)
        return false;
    return allocationFailed = true;
}

} // namespace

#ifndef KX_SANITIZED
// Stands in for the C library's own in the test program.
extern "C" int pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*start)(void *),
                              void *argument) noexcept
{
    if (threadsFail)
        return EAGAIN;
    using Create = int (*)(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *);
    static const auto create = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
    return create(thread, attributes, start, argument);
}

void *operator new(std::size_t size)
{
    void *const block = allocationFails() ? nullptr : std::malloc(size);
    if (!block)
        throw std::bad_alloc();
    return block;
}

void operator delete(void *block) noexcept
{
    std::free(block);
}

void operator delete(void *block, std::size_t /*size*/) noexcept
{
    std::free(block);
}
#endif

namespace kx::test
{

FailingThreads::FailingThreads()
{
    threadsFail = true;
}

FailingThreads::~FailingThreads()
{
    threadsFail = false;
}

FailingMemory::FailingMemory(int before)
{
    allocationFailed = false;
    allocationsLeft = before;
}

FailingMemory::~FailingMemory()
{
    allocationsLeft = -1;
}

bool FailingMemory::works() noexcept
{
#ifdef KX_SANITIZED
    return false;
#else
    return true;
#endif
}

bool FailingMemory::hasFailed() noexcept
{
    return allocationFailed;
}

} // namespace kx::test
