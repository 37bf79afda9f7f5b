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
    constexpr int kThreads = 4;
    constexpr int kWaiting = 8;
    constexpr int kShort = 2000;
    for (const auto &[quality, name] : kQualities) {
        GlobalQueue &queue = GlobalQueue::withQuality(quality);
        Handshake arrived;
        Handshake finished;
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t)
            threads.emplace_back([&] {
                for (int i = 0; i < kWaiting; ++i)
                    queue.async([&] {
                        arrived.announce();
                        EXPECT_TRUE(arrived.await(kThreads * kWaiting));
                        finished.announce();
                    });
                for (int i = 0; i < kShort; ++i)
                    queue.async([&] { finished.announce(); });
            });
        for (std::thread &thread : threads)
            thread.join();
        EXPECT_TRUE(finished.await(kThreads * (kWaiting + kShort))) << name;
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
    MainQueue::async(task);
    MainQueue::drain();
    EXPECT_EQ(order, "()"); // the inner one waits for the next turn of the caller's loop
    MainQueue::drain();
    EXPECT_EQ(order, "()inner");
    MainQueue::install([](std::function<void()> run) { run(); }); // even with an executor that does not wait
    MainQueue::async(task);
    EXPECT_EQ(order, "()inner()inner");
    MainQueue::install({});
    CapturedLog log;
    MainQueue::async([] { throw std::runtime_error("broken"); });
    MainQueue::async(task);
    MainQueue::drain();
    EXPECT_EQ(order, "()inner()inner()");
    MainQueue::drain();
    EXPECT_EQ(order, "()inner()inner()inner");
    EXPECT_EQ(log.messages(), std::vector<std::string>{"kx.main: exception:broken"});
}

TEST_F(MainQueueTest, EachThreadsTasksKeepTheirOrder)
{
    constexpr int kThreads = 4;
    constexpr int kTasks = 500;
    std::vector<int> last(kThreads, -1); // no lock: one task runs at a time
    int ran = 0;
    std::vector<std::thread> threads;
    Handshake brought;
    for (std::size_t t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < kTasks; ++i) {
                MainQueue::async([&, t, i] {
                    EXPECT_EQ(last[t], i - 1);
                    last[t] = i;
                    ++ran;
                });
                brought.announce();
            }
        });
    ASSERT_TRUE(brought.await(kTasks)); // some wait, others come while those are handed over
    MainQueue::install([](std::function<void()> run) { run(); });
    for (std::thread &thread : threads)
        thread.join();
    MainQueue::install({});
    EXPECT_EQ(ran, kThreads * kTasks);
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
    std::thread first([] { MainQueue::async([] {}); });
    EXPECT_TRUE(taken.await(1));
    std::string second;
    std::thread waiting([&] { second = MainQueue::sync([&] { ++runs; }) ? "ran" : "not run"; });
    std::thread removing([] { MainQueue::install({}); });
    taken.announce();
    first.join();
    removing.join();
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
