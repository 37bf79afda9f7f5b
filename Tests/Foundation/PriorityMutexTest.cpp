#include "KXFW/Platform/Foundation/PriorityMutex.h"
#include "Tests/Support/Handshake.h"

#include <fstream>
#include <gtest/gtest.h>
#include <mutex>
#include <sched.h>
#include <sstream>
#include <thread>
#include <unistd.h>

namespace
{

/// The kernel's priority of a thread: 20 and thereabouts for ordinary ones, below 0 for real-time ones.
int kernelPriority(pid_t thread)
{
    std::ifstream stat("/proc/self/task/" + std::to_string(thread) + "/stat");
    const std::string text(std::istreambuf_iterator<char>(stat), {});
    std::istringstream fields(text.substr(text.rfind(')') + 2)); // from the third field, the state, on
    std::string field;
    for (int number = 3; number <= 18; ++number)
        fields >> field;
    return std::stoi(field);
}

TEST(PriorityMutex, AWaitingRenderThreadLiftsTheHolder)
{
    kx::PriorityMutex mutex;
    bool allowed = false;
    const pid_t holder = gettid();
    ASSERT_GE(kernelPriority(holder), 0);
    kx::test::Handshake ready;
    mutex.lock();
    std::thread waiter([&] {
        const sched_param urgent{.sched_priority = 20};
        allowed = pthread_setschedparam(pthread_self(), SCHED_FIFO, &urgent) == 0;
        ready.announce();
        if (allowed)
            const std::lock_guard guard(mutex);
    });
    EXPECT_TRUE(ready.await());
    const auto deadline = std::chrono::steady_clock::now() + kx::test::kHangDeadline;
    while (allowed && kernelPriority(holder) >= 0 && std::chrono::steady_clock::now() < deadline)
        std::this_thread::yield(); // until the waiter has reached the lock
    const int lifted = kernelPriority(holder);
    mutex.unlock();
    waiter.join();
    if (!allowed)
        GTEST_SKIP() << "real-time scheduling is not allowed here";
    EXPECT_LT(lifted, 0);
    EXPECT_GE(kernelPriority(holder), 0);
}

} // namespace
