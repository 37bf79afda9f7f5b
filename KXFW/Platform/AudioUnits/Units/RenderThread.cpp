#include "KXFW/Platform/AudioUnits/Units/RenderThread.h"

#include <pthread.h>
#include <sched.h>

namespace kx
{

namespace
{

/// Above all ordinary threads, below what the system itself runs in real time.
constexpr int kPriority = 5;

} // namespace

void nameThread(const char *name) noexcept
{
    pthread_setname_np(pthread_self(), name);
}

bool requestRealTimePriority() noexcept
{
    const sched_param parameters{.sched_priority = kPriority};
    return pthread_setschedparam(pthread_self(), SCHED_RR | SCHED_RESET_ON_FORK, &parameters) == 0;
}

} // namespace kx
