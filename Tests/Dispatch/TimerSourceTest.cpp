#include "KXFW/Platform/Dispatch/TimerSource.h"
#include "Tests/Support/CapturedLog.h"
#include "Tests/Support/Handshake.h"

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

/// A timer that counts its runs.
struct Ticker {
    Handshake ticks;
    TimerSource timer{[this] { ticks.announce(); }};
};

/// Waits while the timer thread serves `count` ticks of another timer.
void awaitTicksElsewhere(int count)
{
    Ticker other;
    start(other.timer, 1ms, 1ms);
    EXPECT_TRUE(other.ticks.await(count));
}

TEST(TimerSource, FiresNeverEarlyNorTwiceAtATimeDropsWhatItMissesAndOutlivesExceptions)
{
    CapturedLog log;
    Handshake entered;
    Handshake release;
    std::vector<Clock::time_point> times;
    TimerSource timer([&] {
        times.push_back(Clock::now());
        const bool isFirst = times.size() == 1;
        entered.announce();
        if (isFirst && release.await())
            throw std::runtime_error("broken");
    });
    const auto begin = Clock::now();
    start(timer, 5ms, 20ms, std::chrono::hours(24 * 365)); // a leeway delays nothing
    ASSERT_TRUE(entered.await(1));
    awaitTicksElsewhere(100); // several ticks come due meanwhile
    EXPECT_EQ(entered.count(), 1);
    const auto released = Clock::now();
    release.announce();
    ASSERT_TRUE(entered.await(5));
    timer.cancel();
    EXPECT_GE(times[0] - begin, 5ms);
    for (std::size_t i = 1; i < times.size(); ++i)
        EXPECT_GE(times[i] - released, (i - 1) * 20ms) << "run " << i << " catches up";
    EXPECT_EQ(log.messages(), std::vector<std::string>{"kx.timer: exception:broken"});
}

TEST(TimerSource, WaitsForItsScheduleAndForResumeAndOvertakesDistantOnes)
{
    Ticker notResumed;
    Ticker notScheduled;
    Ticker distant;
    Ticker moved;
    notResumed.timer.schedule(0ns, 1ms, 0ns);
    notScheduled.timer.resume();
    start(distant.timer, 24h, 1ms);
    awaitTicksElsewhere(5);
    start(moved.timer, 48h, 1ms);
    moved.timer.schedule(1ms, 1ms, 0ns); // while it waits
    EXPECT_TRUE(moved.ticks.await(3));
    EXPECT_EQ(notResumed.ticks.count() + notScheduled.ticks.count() + distant.ticks.count(), 0);
}

TEST(TimerSource, CancelWaitsForTheRunThatIsUnderWayWhoeverCancels)
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
    const auto cancel = [&] {
        cancelling.announce();
        timer.cancel();
        EXPECT_EQ(runs, 1);
    };
    start(timer, 0ns, 1ms);
    ASSERT_TRUE(entered.await());
    const std::jthread second(cancel);
    cancel();
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
    for (int round = 0; round < 100; ++round) {
        Handshake entered;
        Handshake released;
        Handshake gone;
        std::shared_ptr<void> held(nullptr, [&](void *) { gone.announce(); });
        auto owner = std::make_shared<std::unique_ptr<TimerSource>>();
        *owner = std::make_unique<TimerSource>([&, held = std::move(held), weak = std::weak_ptr(owner)] {
            const auto last = weak.lock();
            entered.announce();
            EXPECT_TRUE(released.await());
            last->reset();
            EXPECT_EQ(gone.count(), 0) << "what the handler holds is still there";
        });
        start(**owner, 0ns, 1us);
        ASSERT_TRUE(entered.await());
        owner.reset();
        released.announce();
        ASSERT_TRUE(gone.await());
    }
}

TEST(TimerSource, TheHandlerMayScheduleItsNextRunAtAnyTime)
{
    Handshake ran;
    TimerSource *self = nullptr;
    TimerSource timer([&] {
        if (ran.count() == 2)
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
    EXPECT_EQ(ran.count(), 3);
    for (const nanoseconds interval : {0ns, -1ns, nanoseconds::min(), 1ns}) {
        Ticker odd;
        start(odd.timer, -1ns, interval);
        EXPECT_TRUE(odd.ticks.await(3)) << interval.count();
    }
}

} // namespace
