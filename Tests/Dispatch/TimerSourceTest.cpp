#include "KXFW/Platform/Dispatch/TimerSource.h"
#include "Tests/Support/CapturedLog.h"
#include "Tests/Support/Handshake.h"

#include <atomic>
#include <gtest/gtest.h>
#include <random>
#include <stdexcept>
#include <thread>
#include <vector>

namespace
{

using namespace std::chrono_literals;
using kx::TimerSource;
using kx::test::CapturedLog;
using kx::test::Handshake;
using std::chrono::nanoseconds;
using Clock = std::chrono::steady_clock;

void start(TimerSource &timer, nanoseconds delay, nanoseconds interval, nanoseconds leeway = 0ns)
{
    timer.schedule(delay, interval, leeway);
    timer.resume();
}

/// Waits while the timer thread serves `count` ticks of another timer.
void awaitTicksElsewhere(int count)
{
    Handshake ticks;
    TimerSource timer([&] { ticks.announce(); });
    start(timer, 1ms, 1ms);
    EXPECT_TRUE(ticks.await(count));
}

TEST(TimerSource, FiresAgainAndAgainNeverEarlyAndOutlivesExceptions)
{
    CapturedLog log;
    std::vector<Clock::time_point> times;
    Handshake ticks;
    TimerSource timer([&] {
        times.push_back(Clock::now());
        ticks.announce();
        if (times.size() == 1)
            throw std::runtime_error("broken");
    });
    const auto begin = Clock::now();
    start(timer, 5ms, 2ms, std::chrono::hours(24 * 365)); // a leeway delays nothing
    ASSERT_TRUE(ticks.await(8));
    timer.cancel();
    for (std::size_t i = 0; i < times.size(); ++i)
        EXPECT_GE(times[i] - begin, 5ms + i * 2ms) << "tick " << i;
    EXPECT_EQ(log.messages(), std::vector<std::string>{"kx.timer: exception:broken"});
}

TEST(TimerSource, WaitsForItsScheduleAndForResumeAndOvertakesDistantOnes)
{
    std::atomic<int> fired = 0;
    const auto fire = [&] { ++fired; };
    TimerSource notResumed(fire);
    TimerSource notScheduled(fire);
    TimerSource distant(fire);
    notResumed.schedule(0ns, 1ms, 0ns);
    notScheduled.resume();
    start(distant, 24h, 1ms);
    awaitTicksElsewhere(5);
    Handshake ticks;
    TimerSource moved([&] { ticks.announce(); });
    moved.resume();
    moved.schedule(48h, 1ms, 0ns);
    moved.schedule(1ms, 1ms, 0ns); // while it waits
    EXPECT_TRUE(ticks.await(3));
    EXPECT_EQ(fired, 0);
}

TEST(TimerSource, RunsNeverOverlapAndMissedTicksAreDropped)
{
    Handshake entered;
    Handshake release;
    std::vector<Clock::time_point> times;
    TimerSource timer([&] {
        times.push_back(Clock::now());
        const bool isFirst = times.size() == 1;
        entered.announce();
        EXPECT_TRUE(!isFirst || release.await());
    });
    start(timer, 0ns, 20ms);
    ASSERT_TRUE(entered.await(1));
    awaitTicksElsewhere(100); // several ticks come due meanwhile
    EXPECT_EQ(entered.count(), 1);
    const auto released = Clock::now();
    release.announce();
    ASSERT_TRUE(entered.await(5));
    timer.cancel();
    for (std::size_t i = 1; i < times.size(); ++i) // dropped ticks are not caught up with
        EXPECT_GE(times[i] - released, (i - 1) * 20ms) << "run " << i;
}

TEST(TimerSource, CancelWaitsForTheRunThatIsUnderWay)
{
    Handshake entered;
    Handshake cancelling;
    int runs = 0; // ordered by the barrier alone
    TimerSource timer([&] {
        entered.announce();
        EXPECT_TRUE(cancelling.await());
        awaitTicksElsewhere(3);
        ++runs;
    });
    start(timer, 0ns, 1ms);
    ASSERT_TRUE(entered.await());
    std::thread second([&] {
        cancelling.announce();
        timer.cancel();
        EXPECT_EQ(runs, 1);
    });
    timer.cancel();
    EXPECT_EQ(runs, 1);
    second.join();
}

TEST(TimerSource, NothingRunsAfterCancelWheneverItComes)
{
    std::mt19937 random(11); // NOLINT: the same numbers each time
    CapturedLog log;
    for (int round = 0; round < 300; ++round) {
        auto used = std::make_unique<int>(0); // a late run would touch freed memory
        TimerSource timer([p = used.get()] { ++*p; });
        start(timer, nanoseconds(random() % 200000), nanoseconds(1 + random() % 50000));
        const auto until = Clock::now() + nanoseconds(random() % 400000);
        while (Clock::now() < until)
            std::this_thread::yield();
        timer.cancel();
        used.reset();
        timer.resume();
        timer.schedule(0ns, 1us, 0ns); // changes nothing any more
    }
    awaitTicksElsewhere(5);
    EXPECT_EQ(log.text(), ""); // nor was a run tried without its handler
}

TEST(TimerSource, TheHandlerMayEndItsOwnTimerAndHoldTheLastReferenceToItsOwner)
{
    struct Owner {
        std::unique_ptr<TimerSource> timer;
        std::shared_ptr<void> gone;
    };
    for (int round = 0; round < 100; ++round) {
        Handshake gone;
        Handshake entered;
        Handshake released;
        auto held = std::make_shared<int>(0);
        auto owner = std::make_shared<Owner>();
        owner->gone = {nullptr, [&](void *) { gone.announce(); }};
        owner->timer = std::make_unique<TimerSource>([&, held, weak = std::weak_ptr(owner)] {
            std::shared_ptr<Owner> strong = weak.lock(); // the last one when the test has let go
            entered.announce();
            EXPECT_TRUE(released.await());
            strong->timer.reset();
            ++*held; // what the handler holds is still there
            strong.reset();
        });
        start(*owner->timer, 0ns, 1us);
        ASSERT_TRUE(entered.await());
        owner.reset();
        released.announce();
        ASSERT_TRUE(gone.await());
        EXPECT_EQ(*held, 1);
    }
}

TEST(TimerSource, TheHandlerMayScheduleItsNextRunAtAnyTime)
{
    Handshake ran;
    TimerSource *self = nullptr;
    int runs = 0;
    TimerSource timer([&] {
        if (++runs == 3)
            self->schedule(nanoseconds::max(), 1ms, 0ns);
        else
            self->schedule(nanoseconds::min(), nanoseconds::max(), nanoseconds::max());
        ran.announce();
    });
    self = &timer;
    start(timer, 0ns, 1ms);
    ASSERT_TRUE(ran.await(3));
    awaitTicksElsewhere(10);
    timer.cancel();
    EXPECT_EQ(runs, 3);
    for (const nanoseconds interval : {0ns, -1ns, nanoseconds::min(), 1ns}) {
        Handshake ticks;
        TimerSource odd([&] { ticks.announce(); });
        start(odd, -1ns, interval);
        EXPECT_TRUE(ticks.await(3)) << interval.count();
    }
}

} // namespace
