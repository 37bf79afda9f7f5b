#include "Tests/Hardware/HardwareTestKit.h"
#include "Tests/Support/ScopedVirtualHardware.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>

namespace
{

using namespace kx::test;
using kx::VirtualClock;

constexpr AudioObjectPropertySelector kBufferSize = kAudioDevicePropertyBufferSize;

class PropertyListenersTest : public ::testing::Test
{
protected:
    /// Makes a change that every listener of the device's buffer size hears: no value comes back soon, so that
    /// changes told together are still one.
    void change()
    {
        const auto address = anywhere(kBufferSize);
        const uint32_t bytes = 512 + 4 * (changes_++ % 10000);
        service.setData(device, &address, sizeof bytes, &bytes);
    }

    ScopedVirtualHardware hardware{VirtualClock::Manual};
    kx::HardwareService service{kx::makeVirtualBackend()};
    const AudioObjectID device = devicesOf(service).at(0);

private:
    std::atomic<uint32_t> changes_ = 0;
};

TEST_F(PropertyListenersTest, TheSameListenerTwiceCountsOnceAndWhatOneThrowsHarmsNobody)
{
    TestListener bad(service, device, kBufferSize, [] { throw std::runtime_error("bad listener"); });
    TestListener worse(service, device, kBufferSize, [] { throw "not even an exception"; });
    TestListener twice(service, device, kBufferSize);
    TestListener last(service, device, kBufferSize);
    twice.add();
    change();
    ASSERT_TRUE(last.waitForCalls(1));
    twice.remove();
    change();
    ASSERT_TRUE(last.waitForCalls(2));
    EXPECT_EQ(twice.calls(), 1);
}

TEST_F(PropertyListenersTest, AListenerMayDoAllFromInside)
{
    TestListener victim(service, device, kBufferSize);
    victim.remove();
    std::unique_ptr<TestListener> self;
    std::unique_ptr<TestListener> born;
    self = std::make_unique<TestListener>(service, device, kBufferSize, [&] {
        EXPECT_EQ(defaultOutputName(service), "Virtual Output");
        hardware->setDevices({{"Virtual Output"}, {"Another"}});
        born = std::make_unique<TestListener>(service, kAudioObjectSystemObject, kAudioHardwarePropertyDevices);
        victim.remove();
        self->remove();
    });
    victim.add(); // after `self`: removed by it before its turn comes
    change();
    ASSERT_TRUE(self->waitForCalls(1));
    ASSERT_TRUE(born->waitForCalls(1));
    TestListener last(service, device, kBufferSize);
    change();
    ASSERT_TRUE(last.waitForCalls(1));
    EXPECT_EQ(self->calls(), 1);
    EXPECT_EQ(victim.calls(), 0);
}

TEST_F(PropertyListenersTest, RemoveWaitsForTheCallThatIsUnderWayWhoeverRemoves)
{
    for (int round = 0; round < 50; ++round) {
        Handshake inside;
        Handshake removing;
        int ended = 0; // ordered by the removal alone
        TestListener listener(service, device, kBufferSize, [&] {
            inside.announce();
            EXPECT_TRUE(removing.await(2));
            linger(20); // both are in the removal by now, nearly always
            ++ended;
        });
        const auto remove = [&] {
            removing.announce();
            listener.remove();
            EXPECT_EQ(ended, 1);
        };
        change();
        ASSERT_TRUE(inside.await());
        std::thread second(remove);
        remove();
        second.join();
        TestListener last(service, device, kBufferSize);
        change(); // told to the last one alone, and before the next round begins
        ASSERT_TRUE(last.waitForCalls(1));
        EXPECT_EQ(ended, 1);
    }
}

} // namespace
