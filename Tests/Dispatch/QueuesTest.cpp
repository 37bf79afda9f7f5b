#include "KXFW/Platform/Dispatch/GlobalQueue.h"
#include "KXFW/Platform/Dispatch/MainQueue.h"
#include "KXFW/Platform/Dispatch/SerialQueue.h"
#include "KXFW/Platform/Foundation/NSException.h"
#include "Tests/Support/CapturedLog.h"
#include "Tests/Support/Handshake.h"

#include <gtest/gtest.h>
#include <stdexcept>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace
{

using namespace kx;
using test::CapturedLog;
using test::Handshake;
using test::linger;
using Lines = std::vector<std::string>;

constexpr std::pair<QualityOfService, const char *> kQualities[] = {
    {QualityOfService::Default, "kx.default"},
    {QualityOfService::Background, "kx.background"},
};

TEST(GlobalQueue, TasksFromManyThreadsAllRunThoseThatWaitForOneAnotherToo)
{
    constexpr int kWaiting = 32;
    constexpr int kTasks = 4 * 2000;
    for (const auto &[quality, name] : kQualities) {
        Handshake arrived;
        Handshake finished;
        std::vector<std::jthread> threads;
        for (int t = 0; t < 4; ++t)
            threads.emplace_back([&, &queue = GlobalQueue::withQuality(quality)] {
                for (int i = 0; i < kTasks / 4; ++i)
                    queue.async([&, waits = i < kWaiting / 4] {
                        if (waits)
                            arrived.announce();
                        EXPECT_TRUE(!waits || arrived.await(kWaiting));
                        finished.announce();
                    });
            });
        EXPECT_TRUE(finished.await(kTasks)) << name;
    }
}

TEST(GlobalQueue, ExceptionsAreLoggedAndBackgroundThreadsGiveWay)
{
    for (const auto &[quality, name] : kQualities) {
        CapturedLog log;
        Handshake done;
        int nice = -100;
        std::shared_ptr<void> ended(nullptr, [&](void *) { done.announce(); }); // after the log line
        GlobalQueue::withQuality(quality).async([&nice, held = std::move(ended)] {
            nice = getpriority(PRIO_PROCESS, static_cast<id_t>(gettid()));
            throw std::runtime_error("%s broken");
        });
        ASSERT_TRUE(done.await());
        EXPECT_EQ(log.messages(), Lines{std::string(name) + ": exception:%s broken"});
        const int own = getpriority(PRIO_PROCESS, 0);
        EXPECT_EQ(nice, quality == QualityOfService::Background ? std::max(own, 10) : own) << name;
    }
}

void runAtOnce(const std::function<void()> &task)
{
    task();
}

/// Leaves the process's main queue as it found it.
class MainQueueTest : public testing::Test
{
protected:
    ~MainQueueTest() override
    {
        MainQueue::install({});
        MainQueue::drain();
    }
};

TEST_F(MainQueueTest, ATaskQueuedByATaskRunsAfterIt)
{
    std::string order;
    const auto task = [&] {
        order += "(";
        MainQueue::async([&] { order += "inner"; });
        order += ")";
    };
    CapturedLog log;
    MainQueue::async([] { throw std::runtime_error("broken"); });
    MainQueue::async(task);
    MainQueue::drain();
    EXPECT_EQ(order, "()"); // the inner one waits for the next turn of the caller's loop
    MainQueue::drain();
    EXPECT_EQ(order, "()inner");
    MainQueue::install(runAtOnce); // even with an executor that does not wait
    MainQueue::async(task);
    EXPECT_EQ(order, "()inner()inner");
    EXPECT_EQ(log.messages(), Lines{"kx.main: exception:broken"});
}

TEST_F(MainQueueTest, SyncWaitsForItsTaskOrLearnsThatNobodyRunsIt)
{
    const auto outcome = [](const std::function<void()> &task) {
        std::string text;
        std::thread([&] {
            try {
                text = MainQueue::sync(task) ? "ran" : "not run";
            } catch (const std::runtime_error &error) {
                text = error.what();
            }
        }).join();
        return text;
    };
    int runs = 0;
    const auto run = [&] { ++runs; };
    EXPECT_EQ(outcome(run), "not run") << "nobody takes tasks";
    MainQueue::install(runAtOnce);
    EXPECT_EQ(outcome(run), "ran");
    EXPECT_EQ(outcome([] { throw std::runtime_error("broken"); }), "broken");
    MainQueue::install([](const std::function<void()> &) {}); // throws tasks away
    EXPECT_EQ(outcome(run), "not run");
    EXPECT_TRUE(MainQueue::sync(run)) << "the main thread does not wait for itself";

    Handshake taken;
    MainQueue::install([&](const std::function<void()> &) { // goes while another task waits, as a rule
        taken.announce();
        linger();
        MainQueue::install({});
    });
    std::jthread first([] { MainQueue::async([] {}); });
    EXPECT_TRUE(taken.await());
    EXPECT_EQ(outcome(run), "not run");
    EXPECT_EQ(runs, 2);
}

TEST_F(MainQueueTest, RemovingAnExecutorWaitsForItsCallAndOneMayReplaceItself)
{
    for (int round = 0; round < 20; ++round) {
        Handshake called;
        Handshake removing;
        bool ended = false; // ordered by the removal alone
        MainQueue::install([&](const std::function<void()> &) {
            called.announce();
            EXPECT_TRUE(removing.await());
            linger(50);
            ended = true;
        });
        std::jthread bringing([] { MainQueue::async([] {}); });
        EXPECT_TRUE(called.await());
        removing.announce();
        MainQueue::install({});
        EXPECT_TRUE(ended);
    }
    std::string calls;
    MainQueue::install([&](const std::function<void()> &) {
        calls += "1";
        MainQueue::install([&](const std::function<void()> &) { calls += "2"; });
    });
    MainQueue::async([] {});
    MainQueue::async([] {});
    EXPECT_EQ(calls, "12");
}

TEST(SerialQueue, OneTaskAtATimeAndEachThreadsTasksInOrder)
{
    constexpr int kTasks = 2000;
    std::vector<int> last(4, 0); // guarded by the queue alone
    int count = 0;
    {
        SerialQueue queue("kx.test");
        std::vector<std::jthread> threads;
        for (int &own : last)
            threads.emplace_back([&] {
                for (int i = 0; i < kTasks; ++i) {
                    queue.async([&own, i] { EXPECT_EQ(own++, i); });
                    queue.sync([&, id = std::this_thread::get_id()] {
                        ++count;
                        EXPECT_EQ(std::this_thread::get_id(), id);
                    });
                }
            });
    } // the destructor waits for what is queued
    EXPECT_EQ(last, std::vector<int>(4, kTasks));
    EXPECT_EQ(count, 4 * kTasks);
}

TEST(SerialQueue, ExceptionsAndReEntryReachTheCallerOrTheLogAndFreeTheQueue)
{
    CapturedLog log;
    {
        SerialQueue queue("kx.%n.test");
        SerialQueue other("kx.other");
        const auto enter = [&] { queue.sync([] {}); };
        EXPECT_THROW(queue.sync([&] { other.sync(enter); }), NSException);
        queue.async(nullptr);
        queue.async([&] {
            queue.async([] { throw NSGenericException; }); // queueing from inside is no re-entry
            EXPECT_THROW(enter(), NSException);
            throw NSException("name", "reason %s");
        });
        std::thread([&] { EXPECT_EQ(queue.sync([] { return 1; }), 1); }).join();
    }
    EXPECT_EQ(log.messages(),
              (Lines{"kx.%n.test: exception:name: reason %s", "kx.%n.test: exception:NSGenericException"}));
}

TEST(SerialQueue, ItsOwnTasksMayHoldTheLastReferenceAndEnterTheQueueOnTheirWayOut)
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
        auto left = std::make_unique<SerialQueue>("kx.test");
        left->sync([&, inside = left.get()] {
            if (round % 2 == 0)
                inside->async([&] { done.announce(); }); // cannot run before this task ends
            left.reset();
        });
        owner.reset();
        released.announce();
        ASSERT_TRUE(done.await(round % 2 == 0 ? 3 : 2));
    }
}

} // namespace
