// Timers of the main thread, which wait for calls, never for a time.
#include "KXFW/Platform/Foundation/NSException.h"
#include "KXFW/Platform/Toolkit/NSTimer.h"

#include "Tests/Support/CapturedLog.h"
#include "Tests/Toolkit/ToolkitTesting.h"

#include <QTest>

#include <gtest/gtest.h>

#include <cmath>

TEST(NSTimer, CallsAgainAndAgainUntilItIsInvalidatedOrGone)
{
    const kx::test::AlertRecorder alerts;
    kx::test::CapturedLog log;
    for (const bool goes : {false, true}) {
        int calls = 0;
        std::shared_ptr<NSTimer> timer = NSTimer::scheduledTimerWithTimeInterval(goes ? std::nan("") : 0.001, [&] {
            if (goes)
                timer.reset(); // the block is still there
            else if (calls == 2)
                timer->invalidate();
            ++calls;
            throw NSException("Fault", "out of order");
        });
        EXPECT_TRUE(QTest::qWaitFor([&] { return calls == (goes ? 1 : 3); }));
        EXPECT_FALSE(timer && timer->isValid());
    }
    EXPECT_EQ(log.messages().size(), 4U) << "an exception does not end it";
}
