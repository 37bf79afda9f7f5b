#include "KXFW/Platform/Dispatch/GlobalQueue.h"
#include "KXFW/Platform/Dispatch/MainQueue.h"
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

using kx::GlobalQueue;
using kx::MainQueue;
using kx::QualityOfService;
using kx::test::CapturedLog;
using kx::test::Handshake;

constexpr std::pair<QualityOfService, const char *> kQualities[] = {
    {QualityOfService::Default, "kx.default"},
    {QualityOfService::Background, "kx.background"},
};

TEST(GlobalQueue, TasksFromManyThreadsAllRunThoseThatWaitForOneAnotherToo)
{
    constexpr int kWaiting = 32;
    constexpr int kShort = 2000;
    for (const auto &[quality, name] : kQualities) {
        GlobalQueue &queue = GlobalQueue::withQuality(quality);
        Handshake arrived;
        Handshake finished;
        std::vector<std::jthread> threads;
        for (int t = 0; t < 4; ++t)
            threads.emplace_back([&] {
                for (int i = 0; i < kWaiting / 4 + kShort; ++i)
                    queue.async([&, waits = i < kWaiting / 4] {
                        if (waits)
                            arrived.announce();
                        EXPECT_TRUE(!waits || arrived.await(kWaiting));
                        finished.announce();
                    });
            });
        EXPECT_TRUE(finished.await(kWaiting + 4 * kShort)) << name;
    }
}

TEST(GlobalQueue, ExceptionsAreLoggedAndBackgroundThreadsGiveWay)
{
    for (const auto &[quality, name] : kQualities) {
        GlobalQueue &queue = GlobalQueue::withQuality(quality);
        CapturedLog log;
        Handshake done;
        std::shared_ptr<void> ended(nullptr, [&](void *) { done.announce(); }); // after the log line
        queue.async([held = std::move(ended)] { throw std::runtime_error("%s broken"); });
        ASSERT_TRUE(done.await());
        int nice = -100;
        queue.async([&] {
            nice = getpriority(PRIO_PROCESS, static_cast<id_t>(gettid()));
            done.announce();
        });
        ASSERT_TRUE(done.await(2));
        EXPECT_EQ(log.messages(), std::vector<std::string>{std::string(name) + ": exception:%s broken"});
        const int own = getpriority(PRIO_PROCESS, 0);
        EXPECT_EQ(nice, quality == QualityOfService::Background ? std::max(own, 10) : own) << name;
    }
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
    MainQueue::install([](std::function<void()> run) { run(); }); // even with an executor that does not wait
    MainQueue::async(task);
    EXPECT_EQ(order, "()inner()inner");
    EXPECT_EQ(log.messages(), std::vector<std::string>{"kx.main: exception:broken"});
}

TEST_F(MainQueueTest, EachThreadsTasksKeepTheirOrder)
{
    constexpr int kTasks = 500;
    std::vector<int> last(4, 0); // no lock: one task runs at a time
    Handshake brought;
    std::vector<std::jthread> threads;
    for (int &own : last)
        threads.emplace_back([&] {
            for (int i = 0; i < kTasks; ++i) {
                MainQueue::async([&own, i] { EXPECT_EQ(own++, i); });
                brought.announce();
            }
        });
    ASSERT_TRUE(brought.await(kTasks)); // some wait, others come while those are handed over
    MainQueue::install([](std::function<void()> run) { run(); });
    threads.clear();
    MainQueue::install({});
    EXPECT_EQ(last, std::vector<int>(4, kTasks));
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
    EXPECT_EQ(outcome([] {}), "not run") << "nobody takes tasks";

    int runs = 0;
    MainQueue::install([](const std::function<void()> &run) { run(); });
    EXPECT_EQ(outcome([&] { ++runs; }), "ran");
    EXPECT_EQ(outcome([] { throw std::runtime_error("broken"); }), "broken");
    EXPECT_TRUE(MainQueue::sync([&] { ++runs; })) << "the main thread does not wait for itself";
    EXPECT_EQ(runs, 2);

    MainQueue::install([](const std::function<void()> &) {}); // throws tasks away
    EXPECT_EQ(outcome([&] { ++runs; }), "not run");

    Handshake taken;
    MainQueue::install([&](const std::function<void()> &) { // holds up the queue until the executor goes
        taken.announce();
        EXPECT_TRUE(taken.await(2));
    });
    std::jthread first([] { MainQueue::async([] {}); });
    EXPECT_TRUE(taken.await(1));
    std::string second;
    std::thread waiting([&] { second = outcome([&] { ++runs; }); });
    std::jthread removing([] { MainQueue::install({}); });
    for (int i = 0; i < 1000; ++i)
        std::this_thread::yield(); // until both have come, as a rule
    taken.announce();
    waiting.join();
    EXPECT_EQ(second, "not run");
    EXPECT_EQ(runs, 2);
}

TEST_F(MainQueueTest, RemovingAnExecutorWaitsForItsCall)
{
    for (int round = 0; round < 50; ++round) {
        Handshake called;
        Handshake removing;
        bool ended = false; // ordered by the removal alone
        MainQueue::install([&](const std::function<void()> &) {
            called.announce();
            EXPECT_TRUE(removing.await());
            for (int i = 0; i < 100; ++i)
                std::this_thread::yield();
            ended = true;
        });
        std::thread bringing([] { MainQueue::async([] {}); });
        EXPECT_TRUE(called.await());
        removing.announce();
        MainQueue::install({});
        EXPECT_TRUE(ended);
        bringing.join();
    }
}

TEST_F(MainQueueTest, AnExecutorMayReplaceItself)
{
    std::string calls;
    MainQueue::install([&](const std::function<void()> &) {
        calls += "1";
        MainQueue::install([&](const std::function<void()> &) { calls += "2"; });
    });
    MainQueue::async([] {});
    MainQueue::async([] {});
    EXPECT_EQ(calls, "12");
}

} // namespace
