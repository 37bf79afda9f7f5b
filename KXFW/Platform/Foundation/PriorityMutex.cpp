#include "KXFW/Platform/Foundation/PriorityMutex.h"

#include "KXFW/Platform/Foundation/NSException.h"

#include <cerrno>
#include <system_error>

namespace
{

int make(pthread_mutex_t &mutex, int protocol) noexcept
{
    pthread_mutexattr_t attributes;
    if (const int failure = pthread_mutexattr_init(&attributes))
        return failure;
    int failure = pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ERRORCHECK);
    if (failure == 0)
        failure = pthread_mutexattr_setprotocol(&attributes, protocol);
    if (failure == 0)
        failure = pthread_mutex_init(&mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
    return failure;
}

} // namespace

kx::PriorityMutex::PriorityMutex()
{
    // Without priority inheritance the lock still excludes and still reports re-entry.
    if (make(mutex_, PTHREAD_PRIO_INHERIT) == 0)
        return;
    if (const int failure = make(mutex_, PTHREAD_PRIO_NONE))
        throw std::system_error(failure, std::generic_category(), "cannot make a mutex");
}

kx::PriorityMutex::~PriorityMutex()
{
    pthread_mutex_destroy(&mutex_);
}

void kx::PriorityMutex::lock()
{
    const int failure = pthread_mutex_lock(&mutex_);
    if (failure == 0) [[likely]]
        return;
    if (failure == EDEADLK)
        throw NSException("kx::Reentry", "this thread already holds the lock: a task entered its own queue");
    throw std::system_error(failure, std::generic_category(), "cannot lock a mutex");
}

bool kx::PriorityMutex::try_lock() noexcept
{
    return pthread_mutex_trylock(&mutex_) == 0;
}

void kx::PriorityMutex::unlock() noexcept
{
    pthread_mutex_unlock(&mutex_);
}
