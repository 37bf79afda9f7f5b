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
    constexpr int kRounds = 2000;
    std::vector<int> last(4, 0); // guarded by the queue alone
    int count = 0;
    {
        SerialQueue queue("kx.test");
        std::vector<std::jthread> threads;
        for (int &own : last)
            threads.emplace_back([&] {
                for (int i = 0; i < kRounds; ++i) {
                    queue.async([&own, i] { EXPECT_EQ(own++, i); });
                    queue.sync([&, id = std::this_thread::get_id()] {
                        ++count;
                        EXPECT_EQ(std::this_thread::get_id(), id);
                    });
                }
            });
    } // the destructor waits for what is queued
    EXPECT_EQ(last, std::vector<int>(4, kRounds));
    EXPECT_EQ(count, 4 * kRounds);
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

TEST(SerialQueue, ItsOwnAsyncTaskMayHoldTheLastReferenceAndEnterTheQueueOnItsWayOut)
{
    struct Owner {
        explicit Owner(Handshake &handshake) : done(handshake) {}
        ~Owner()
        {
            queue.sync([] {});
            done.announce();
        }
        Handshake &done;
        SerialQueue queue{"kx.test"};
    };
    for (int round = 0; round < 200; ++round) {
        Handshake released;
        Handshake done;
        auto queue = std::make_shared<SerialQueue>("kx.test");
        queue->async([&, own = queue]() mutable {
            EXPECT_TRUE(released.await());
            own.reset(); // destroys the queue inside its own task
        });
        queue->async([&] { done.announce(); }); // still runs
        queue.reset();
        auto owner = std::make_shared<Owner>(done);
        owner->queue.async([&released, owner] { EXPECT_TRUE(released.await()); });
        owner.reset();
        released.announce();
        ASSERT_TRUE(done.await(2));
    }
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
