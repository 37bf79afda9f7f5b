#include "KXFW/Platform/Foundation/PriorityMutex.h"
#include "Tests/Support/Eventually.h"

#include <fstream>
#include <gtest/gtest.h>
#include <mutex>
#include <sched.h>
#include <unistd.h>

namespace
{

/// The kernel's priority of a thread: 20 and thereabouts for ordinary ones, below 0 for real-time ones.
int kernelPriority(pid_t thread)
{
    std::ifstream stat("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string field;
    std::getline(stat, field, ')');              // the number and the name
    for (int number = 3; number <= 18; ++number) // the state is the third field
        stat >> field;
    return std::stoi(field);
}

TEST(PriorityMutex, AWaitingRenderThreadLiftsTheHolder)
{
    kx::PriorityMutex mutex;
    const pid_t holder = gettid();
    ASSERT_GE(kernelPriority(holder), 0);
    kx::test::Handshake ready;
    bool allowed = false;
    std::unique_lock held(mutex);
    const std::jthread waiter([&] {
        const sched_param urgent{.sched_priority = 20};
        allowed = pthread_setschedparam(pthread_self(), SCHED_FIFO, &urgent) == 0;
        ready.announce();
        if (allowed)
            const std::lock_guard guard(mutex);
    });
    EXPECT_TRUE(ready.await());
    if (!allowed)
        GTEST_SKIP() << "real-time scheduling is not allowed here";
    EXPECT_TRUE(kx::test::eventually([&] { return kernelPriority(holder) < 0; }));
    held.unlock();
    EXPECT_GE(kernelPriority(holder), 0);
}

} // namespace
