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

class GlobalQueues : public testing::TestWithParam<QualityOfService>
{
};

TEST_P(GlobalQueues, TasksThatWaitForOneAnotherAllRun)
{
    constexpr int kTasks = 32;
    Handshake arrived;
    Handshake finished;
    for (int i = 0; i < kTasks; ++i)
        GlobalQueue::withQuality(GetParam()).async([&] {
            arrived.announce();
            EXPECT_TRUE(arrived.await(kTasks));
            finished.announce();
        });
    EXPECT_TRUE(finished.await(kTasks));
}

TEST_P(GlobalQueues, ManyShortTasksFromManyThreadsAllRun)
{
    constexpr int kThreads = 4;
    constexpr int kTasks = 2000;
    Handshake finished;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < kTasks; ++i)
                GlobalQueue::withQuality(GetParam()).async([&] { finished.announce(); });
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_TRUE(finished.await(kThreads * kTasks));
}

TEST_P(GlobalQueues, AnExceptionIsLoggedAndTheQueueGoesOn)
{
    const std::string name = GetParam() == QualityOfService::Background ? "kx.background" : "kx.default";
    CapturedLog log;
    Handshake done;
    std::shared_ptr<void> ended(nullptr, [&](void *) { done.announce(); }); // goes with the task, after the log line
    GlobalQueue::withQuality(GetParam()).async([held = std::move(ended)] { throw std::runtime_error("%s broken"); });
    ASSERT_TRUE(done.await());
    GlobalQueue::withQuality(GetParam()).async([&] { done.announce(); });
    ASSERT_TRUE(done.await(2));
    EXPECT_EQ(log.messages(), std::vector<std::string>{name + ": exception:%s broken"});
}

TEST_P(GlobalQueues, BackgroundThreadsGiveWay)
{
    int nice = -100;
    char name[16] = {};
    Handshake done;
    GlobalQueue::withQuality(GetParam()).async([&] {
        nice = getpriority(PRIO_PROCESS, static_cast<id_t>(gettid()));
        pthread_getname_np(pthread_self(), name, sizeof name);
        done.announce();
    });
    ASSERT_TRUE(done.await());
    const int own = getpriority(PRIO_PROCESS, 0);
    if (GetParam() == QualityOfService::Background) {
        EXPECT_EQ(nice, std::max(own, 10));
        EXPECT_STREQ(name, "kx.background");
    } else {
        EXPECT_EQ(nice, own);
        EXPECT_STREQ(name, "kx.default");
    }
}

INSTANTIATE_TEST_SUITE_P(EachQuality, GlobalQueues,
                         testing::Values(QualityOfService::Default, QualityOfService::Background),
                         [](const auto &quality) {
                             return quality.param == QualityOfService::Background ? "Background" : "Default";
                         });

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

TEST_F(MainQueueTest, TasksWaitInOrderForTheExecutor)
{
    std::vector<int> order;
    for (int i = 0; i < 5; ++i)
        MainQueue::async([&, i] { order.push_back(i); });
    MainQueue::async(nullptr);
    EXPECT_TRUE(order.empty());
    std::vector<std::function<void()>> loop;
    MainQueue::install([&](std::function<void()> task) { loop.push_back(std::move(task)); });
    MainQueue::async([&] { order.push_back(5); });
    EXPECT_TRUE(order.empty());
    for (auto &task : loop)
        task();
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4, 5}));
    MainQueue::install({});
    MainQueue::async([&] { order.push_back(6); });
    EXPECT_EQ(loop.size(), 6u);
    MainQueue::drain();
    EXPECT_EQ(order.back(), 6);
}

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

TEST_F(MainQueueTest, ExceptionsOfTasksAreLogged)
{
    CapturedLog log;
    int ran = 0;
    MainQueue::async([] { throw std::runtime_error("broken"); });
    MainQueue::async([&] { ++ran; });
    MainQueue::drain();
    EXPECT_EQ(ran, 1);
    EXPECT_EQ(log.messages(), std::vector<std::string>{"kx.main: exception:broken"});
}

} // namespace
