#include "KXFW/Platform/Dispatch/SerialQueue.h"
#include "KXFW/Platform/Foundation/NSException.h"
#include "Tests/Support/CapturedLog.h"
#include "Tests/Support/Handshake.h"

#include <gtest/gtest.h>
#include <numeric>
#include <thread>
#include <vector>

namespace
{

using kx::SerialQueue;
using kx::test::CapturedLog;
using kx::test::Handshake;

TEST(SerialQueue, SyncRunsHereAndGivesTheResult)
{
    SerialQueue queue("kx.test");
    int value = 3;
    EXPECT_EQ(queue.sync([] { return std::this_thread::get_id(); }), std::this_thread::get_id());
    int &same = queue.sync([&]() -> int & { return value; });
    EXPECT_EQ(&same, &value);
    auto moveOnly = std::make_unique<int>(5);
    EXPECT_EQ(*queue.sync([p = std::move(moveOnly)]() mutable { return std::move(p); }), 5);
    EXPECT_EQ(queue.label(), "kx.test");
}

TEST(SerialQueue, AnExceptionReachesTheCallerAndFreesTheQueue)
{
    SerialQueue queue("kx.test");
    EXPECT_THROW(queue.sync([] { throw NSException("name", "reason"); }), NSException);
    std::thread([&] { EXPECT_EQ(queue.sync([] { return 1; }), 1); }).join();
}

TEST(SerialQueue, AsyncTasksRunInOrderOnOneOtherThread)
{
    std::vector<int> order;
    std::vector<std::thread::id> threads;
    {
        SerialQueue queue("kx.test");
        queue.async(nullptr);
        for (int i = 0; i < 1000; ++i)
            queue.async([&, i] {
                order.push_back(i);
                threads.push_back(std::this_thread::get_id());
            });
    } // the destructor waits for what is queued
    std::vector<int> expected(1000);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(order, expected);
    EXPECT_EQ(std::count(threads.begin(), threads.end(), threads[0]), 1000);
    EXPECT_NE(threads[0], std::this_thread::get_id());
}

TEST(SerialQueue, OneTaskAtATimeWhoeverBringsIt)
{
    constexpr int kThreads = 4;
    constexpr int kRounds = 2000;
    int count = 0; // guarded by the queue alone
    {
        SerialQueue queue("kx.test");
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t)
            threads.emplace_back([&] {
                for (int i = 0; i < kRounds; ++i) {
                    queue.sync([&] { ++count; });
                    queue.async([&] { ++count; });
                }
            });
        for (std::thread &thread : threads)
            thread.join();
    }
    EXPECT_EQ(count, 2 * kThreads * kRounds);
}

std::string reentryOf(SerialQueue &queue)
{
    try {
        queue.sync([] {});
        return "none";
    } catch (const NSException &exception) {
        return exception.name();
    }
}

TEST(SerialQueue, EnteringItFromInsideIsReported)
{
    SerialQueue queue("kx.test");
    SerialQueue other("kx.other");
    EXPECT_EQ(queue.sync([&] { return reentryOf(queue); }), "kx::Reentry");
    EXPECT_EQ(queue.sync([&] { return other.sync([&] { return reentryOf(queue); }); }), "kx::Reentry");
    std::string fromWorker;
    Handshake done;
    queue.async([&] {
        fromWorker = reentryOf(queue);
        queue.async([&] { done.announce(); }); // queueing from inside is no re-entry
    });
    ASSERT_TRUE(done.await());
    EXPECT_EQ(fromWorker, "kx::Reentry");
    EXPECT_EQ(queue.sync([] { return 1; }), 1);
}

TEST(SerialQueue, AnExceptionInAnAsyncTaskIsLoggedWithTheLabel)
{
    CapturedLog log;
    int ran = 0;
    {
        SerialQueue queue("kx.%n.test");
        queue.async([] { throw NSException("name", "reason %s"); });
        queue.async([] { throw NSGenericException; });
        queue.async([&] { ++ran; });
    }
    EXPECT_EQ(ran, 1);
    EXPECT_EQ(log.messages(), (std::vector<std::string>{"kx.%n.test: exception:name: reason %s",
                                                        "kx.%n.test: exception:NSGenericException"}));
}

TEST(SerialQueue, ItsOwnAsyncTaskMayHoldTheLastReference)
{
    for (int round = 0; round < 200; ++round) {
        auto queue = std::make_shared<SerialQueue>("kx.test");
        Handshake released;
        Handshake done;
        queue->async([&released, &done, own = queue]() mutable {
            EXPECT_TRUE(released.await());
            own.reset(); // destroys the queue inside its own task
            done.announce();
        });
        queue->async([&done] { done.announce(); }); // still runs
        queue.reset();
        released.announce();
        ASSERT_TRUE(done.await(2));
    }
}

TEST(SerialQueue, ACapturedLastReferenceMayEnterTheQueueOnItsWayOut)
{
    struct Owner {
        explicit Owner(Handshake &handshake) : gone(handshake) {}
        ~Owner()
        {
            queue.sync([] {});
            gone.announce();
        }
        Handshake &gone;
        SerialQueue queue{"kx.test"};
    };
    Handshake gone;
    Handshake released;
    auto owner = std::make_shared<Owner>(gone);
    owner->queue.async([&released, owner] { EXPECT_TRUE(released.await()); });
    owner.reset();
    released.announce();
    EXPECT_TRUE(gone.await());
}

TEST(SerialQueue, ASyncTaskMayDestroyTheQueue)
{
    auto idle = std::make_unique<SerialQueue>("kx.test");
    idle->sync([&] { idle.reset(); });
    auto queue = std::make_unique<SerialQueue>("kx.test");
    Handshake ran;
    SerialQueue *const inside = queue.get();
    inside->sync([&] {
        inside->async([&] { ran.announce(); }); // cannot run before this task ends
        queue.reset();
    });
    EXPECT_TRUE(ran.await());
}

} // namespace
