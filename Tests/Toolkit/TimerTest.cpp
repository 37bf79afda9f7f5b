// Timers of the main thread, which wait for calls, never for a time.
#include "KXFW/Platform/Foundation/NSException.h"
#include "KXFW/Platform/Toolkit/NSTimer.h"

#include "Tests/Support/CapturedLog.h"
#include "Tests/Toolkit/ToolkitTesting.h"

#include <QTest>

#include <gtest/gtest.h>

#include <cmath>

TEST(NSTimer, CallsAgainAndAgainUntilItIsInvalidated)
{
    const kx::test::AlertRecorder alerts;
    kx::test::CapturedLog log;
    int calls = 0;
    std::shared_ptr<NSTimer> timer = NSTimer::scheduledTimerWithTimeInterval(0.001, [&] {
        if (++calls == 3)
            timer->invalidate();
        throw NSException("Fault", "out of order");
    });
    EXPECT_TRUE(QTest::qWaitFor([&] { return calls == 3; }));
    EXPECT_FALSE(timer->isValid());
    EXPECT_EQ(log.messages().size(), 3U) << "an exception does not end it";
}

TEST(NSTimer, EndsWithItsLastOwnerAlsoInsideItsBlock)
{
    int calls = 0;
    std::shared_ptr<NSTimer> timer = NSTimer::scheduledTimerWithTimeInterval(std::nan(""), [&] {
        timer.reset();
        ++calls; // the block is still there
    });
    EXPECT_TRUE(QTest::qWaitFor([&] { return calls == 1; }));
}
