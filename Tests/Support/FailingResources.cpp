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
std::atomic<bool> failed{false};
thread_local int allocationsLeft = -1; ///< below 0: none fails

} // namespace

#ifndef KX_SANITIZED
// These stand in for the libraries' own in the test program.
extern "C" int pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*start)(void *),
                              void *argument) noexcept
{
    using Create = int (*)(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *);
    static const auto create = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
    if (!threadsFail)
        return create(thread, attributes, start, argument);
    failed = true;
    return EAGAIN;
}

void *operator new(std::size_t size)
{
    const bool fails = allocationsLeft >= 0 && allocationsLeft-- == 0;
    if (void *const block = fails ? nullptr : std::malloc(size))
        return block;
    failed = true;
    throw std::bad_alloc();
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

FailingResource::FailingResource(int before) noexcept
{
    failed = false;
    allocationsLeft = before;
    threadsFail = before < 0;
}

FailingResource::~FailingResource()
{
    allocationsLeft = -1;
    threadsFail = false;
}

bool FailingResource::hasFailed() noexcept
{
    return failed;
}

} // namespace kx::test
