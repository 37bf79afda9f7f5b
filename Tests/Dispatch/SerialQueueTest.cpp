#include "KXFW/Platform/Dispatch/SerialQueue.h"
#include "KXFW/Platform/Foundation/NSException.h"
#include "Tests/Support/CapturedLog.h"
#include "Tests/Support/Handshake.h"

#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace
{

using kx::SerialQueue;
using kx::test::CapturedLog;
using kx::test::Handshake;

TEST(SerialQueue, OneTaskAtATimeAndEachThreadsTasksInOrder)
{
    constexpr int kThreads = 4;
    constexpr int kRounds = 2000;
    std::vector<int> last(kThreads, 0); // guarded by the queue alone
    int count = 0;
    {
        SerialQueue queue("kx.test");
        std::vector<std::thread> threads;
        for (std::size_t t = 0; t < kThreads; ++t)
            threads.emplace_back([&, t] {
                for (int i = 0; i < kRounds; ++i) {
                    queue.async([&, t, i] { EXPECT_EQ(last[t]++, i); });
                    EXPECT_EQ(queue.sync([&, id = std::this_thread::get_id()] {
                        ++count;
                        return std::this_thread::get_id() == id;
                    }),
                              true);
                }
            });
        for (std::thread &thread : threads)
            thread.join();
    } // the destructor waits for what is queued
    EXPECT_EQ(last, std::vector<int>(kThreads, kRounds));
    EXPECT_EQ(count, kThreads * kRounds);
}

TEST(SerialQueue, ExceptionsReachTheCallerOrTheLogAndFreeTheQueue)
{
    CapturedLog log;
    {
        SerialQueue queue("kx.%n.test");
        EXPECT_THROW(queue.sync([] { throw NSException("name", "reason"); }), NSException);
        queue.async(nullptr);
        queue.async([] { throw NSException("name", "reason %s"); });
        queue.async([] { throw NSGenericException; });
        std::thread([&] { EXPECT_EQ(queue.sync([] { return 1; }), 1); }).join();
    }
    EXPECT_EQ(log.messages(), (std::vector<std::string>{"kx.%n.test: exception:name: reason %s",
                                                        "kx.%n.test: exception:NSGenericException"}));
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
