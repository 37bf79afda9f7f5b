#include "KXFW/Platform/AudioUnits/UnitRegistry.h"
#include "KXFW/Platform/AudioUnits/Units/RenderThread.h"
#include "Tests/AudioUnits/OutputTesting.h"

#include <sched.h>

#include <array>
#include <thread>

namespace kx::test
{
namespace
{

TEST_F(OutputUnitTest, WithoutADeviceItWaitsInSilence)
{
    Chain chain;
    EXPECT_EQ(get<AudioObjectID>(chain.output, kAudioOutputUnitProperty_CurrentDevice, kAudioUnitScope_Global),
              defaultDevice())
        << "a new unit is on the default device";
    EXPECT_EQ(setDevice(chain.output, 0xFFFFFFFF), kAudioUnitErr_InvalidPropertyValue);
    EXPECT_EQ(setDevice(chain.output, kAudioObjectSystemObject), kAudioUnitErr_InvalidPropertyValue);
    ASSERT_EQ(setDevice(chain.output, 0), noErr);
    ASSERT_EQ(AudioOutputUnitStart(chain.output), noErr);
    EXPECT_TRUE(isRunning(chain.output));
    EXPECT_EQ(hardware.openStreams(), 0u);
    ASSERT_EQ(setDevice(chain.output, defaultDevice()), noErr) << "from the next start on";
    EXPECT_EQ(hardware.openStreams(), 0u);
    ASSERT_EQ(AudioOutputUnitStop(chain.output), noErr);
    EXPECT_EQ(chain.source.calls, 0u);
    ASSERT_EQ(AudioOutputUnitStart(chain.output), noErr);
    hardware.advance(100);
    EXPECT_EQ(chain.source.position, 100u);
}

TEST_F(OutputUnitTest, ALostDeviceIsWaitedForAndPlaysOn)
{
    Chain chain;
    ASSERT_EQ(AudioOutputUnitStart(chain.output), noErr);
    hardware.advance(1000);
    hardware.setDevices({{.name = "another"}});
    ASSERT_TRUE(hardware.waitForStreams(0));
    EXPECT_TRUE(isRunning(chain.output));
    EXPECT_EQ(hardware.advance(1000), 0u);
    EXPECT_EQ(chain.source.position, 1000u);
    hardware.setDevices({{.name = "speaker"}, {.name = "another"}});
    ASSERT_TRUE(hardware.waitForStreams(1));
    hardware.advance(1000);
    ASSERT_EQ(AudioOutputUnitStop(chain.output), noErr);
    EXPECT_EQ(recording.samples<int16_t>(), sequence(2000));
}

TEST_F(OutputUnitTest, ADeviceThatIsGoneAtTheStartIsWaitedFor)
{
    Chain chain;
    hardware.setDevices({});
    ASSERT_EQ(AudioOutputUnitStart(chain.output), noErr);
    EXPECT_TRUE(isRunning(chain.output));
    EXPECT_EQ(chain.source.calls, 0u);
    hardware.setDevices({{.name = "speaker"}});
    ASSERT_TRUE(hardware.waitForStreams(1));
    hardware.advance(10);
    EXPECT_EQ(recording.samples<int16_t>(), sequence(10));
    hardware.setDevices({});
    ASSERT_EQ(AudioOutputUnitStop(chain.output), noErr) << "a stop does not wait for the device";
}

TEST_F(OutputUnitTest, AnInputThatBlocksIsCountedAsUnderrun)
{
    plug({.name = "speaker"}, VirtualClock::RealTime);
    Output output;
    const auto latency = [&] {
        return get<uint32_t>(output, kAudioOutputUnitProperty_DeviceLatency, kAudioUnitScope_Global);
    };
    const auto underruns = [&] {
        return get<uint64_t>(output, kAudioOutputUnitProperty_Underruns, kAudioUnitScope_Global);
    };
    int call = 0;
    Callback callback([&](const AudioTimeStamp &, uint32_t, AudioBufferList &data) {
        if (++call % 20 == 0) { // longer than what the device holds, by far more than a frame
            while (latency() > 0)
                std::this_thread::yield();
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        silence(data);
        return noErr;
    });
    ASSERT_EQ(callback.feed(output), noErr);
    ASSERT_EQ(AudioUnitInitialize(output), noErr);
    ASSERT_EQ(AudioOutputUnitStart(output), noErr);
    while (underruns() == 0)
        std::this_thread::yield();
    ASSERT_EQ(AudioOutputUnitStop(output), noErr);
    EXPECT_GE(underruns(), 1u) << "kept after the run";
    EXPECT_EQ(latency(), 0u);
}

TEST_F(OutputUnitTest, DisposedWhileRunningItIsGoneAtOnce)
{
    for (int round = 0; round < 50; ++round) {
        auto chain = std::make_unique<Chain>();
        const std::weak_ptr<Unit> watched = UnitRegistry::find(chain->output);
        ASSERT_EQ(AudioOutputUnitStart(chain->output), noErr);
        if (round % 2)
            hardware.advance(10);
        if (round % 3 == 0)
            chain->converter.dispose(); // the source first
        ASSERT_EQ(chain->output.dispose(), noErr);
        const auto calls = chain->source.calls.load();
        EXPECT_EQ(hardware.advance(10), 0u);
        EXPECT_EQ(chain->source.calls, calls);
        EXPECT_TRUE(watched.expired());
    }
}

TEST_F(OutputUnitTest, DisposedInsideItsCallbackItEndsByItself)
{
    for (int round = 0; round < 50; ++round) {
        Converter converter;
        Output output;
        std::weak_ptr<Unit> watched = UnitRegistry::find(output);
        Callback callback([&](const AudioTimeStamp &, uint32_t frames, AudioBufferList &data) {
            writeFrames(0, frames, true, data.mBuffers[0].mData);
            const AudioUnit handle = output;
            EXPECT_EQ(AudioOutputUnitStart(handle), noErr) << "it runs";
            EXPECT_EQ(output.dispose(), noErr);
            EXPECT_EQ(AudioOutputUnitStop(handle), kAudioComponentErr_InstanceInvalidated);
            if (round % 2) {
                EXPECT_EQ(converter.dispose(), noErr);
            }
            return noErr;
        });
        ASSERT_EQ(setFormat(converter, kAudioUnitScope_Input, kStandard), noErr);
        ASSERT_EQ(callback.feed(converter), noErr);
        ASSERT_EQ(AudioUnitInitialize(converter), noErr);
        ASSERT_EQ(AudioUnitInitialize(output), noErr);
        ASSERT_EQ(connect(converter, output), noErr);
        ASSERT_EQ(AudioOutputUnitStart(output), noErr);
        hardware.advance(100);
        ASSERT_TRUE(hardware.waitForStreams(0));
        while (!watched.expired())
            std::this_thread::yield();
    }
    EXPECT_EQ(recording.samples<int16_t>().size(), 50u * 100 * 2);
}

TEST_F(OutputUnitTest, ACallbackMayStopAnotherUnitWithoutWaiting)
{
    Chain other;
    Chain chain;
    Callback callback([&](const AudioTimeStamp &, uint32_t, AudioBufferList &data) {
        EXPECT_EQ(AudioOutputUnitStop(other.output), noErr);
        silence(data);
        return noErr;
    });
    ASSERT_EQ(callback.feed(chain.converter), noErr);
    ASSERT_EQ(AudioOutputUnitStart(other.output), noErr);
    ASSERT_EQ(AudioOutputUnitStart(chain.output), noErr);
    hardware.advance(10);
    EXPECT_FALSE(isRunning(other.output));
    EXPECT_TRUE(isRunning(chain.output));
}

/// Starts, stops, settles, questions and volume changes from four threads, stops from inside in between.
TEST_F(OutputUnitTest, ControlFromManyThreadsIsOrdered)
{
    plug({.name = "speaker"}, VirtualClock::FlatOut);
    Chain chain;
    std::atomic<uint64_t> calls{0};
    Callback callback([&](const AudioTimeStamp &, uint32_t, AudioBufferList &data) {
        if (++calls % 7 == 0) {
            EXPECT_EQ(AudioOutputUnitStop(chain.output), noErr);
        }
        silence(data);
        return noErr;
    });
    ASSERT_EQ(callback.feed(chain.converter), noErr);
    std::array<std::thread, 4> threads;
    for (std::size_t t = 0; t < threads.size(); ++t)
        threads[t] = std::thread([&, t] {
            for (std::size_t i = 0; i < 200; ++i) {
                EXPECT_EQ(AudioOutputUnitStart(chain.output), noErr);
                EXPECT_EQ(setVolume(chain.output, static_cast<float>(i % 5) / 5), noErr);
                isRunning(chain.output);
                get<uint64_t>(chain.output, kAudioOutputUnitProperty_Underruns, kAudioUnitScope_Global);
                get<uint32_t>(chain.output, kAudioOutputUnitProperty_DeviceLatency, kAudioUnitScope_Global);
                if (i % 3 == t % 3) {
                    EXPECT_EQ(AudioOutputUnitSettle(chain.output), noErr);
                } else {
                    EXPECT_EQ(AudioOutputUnitStop(chain.output), noErr);
                }
            }
        });
    for (auto &thread : threads)
        thread.join();
    EXPECT_EQ(AudioOutputUnitStop(chain.output), noErr);
    const auto after = calls.load();
    EXPECT_EQ(hardware.openStreams(), 0u);
    EXPECT_EQ(calls, after);
}

TEST(RenderThread, RealTimePriorityIsTakenWhereTheSystemGivesIt)
{
    std::thread([] {
        const bool granted = requestRealTimePriority();
        EXPECT_EQ((sched_getscheduler(0) & ~SCHED_RESET_ON_FORK) == SCHED_RR, granted);
    }).join();
}

} // namespace
} // namespace kx::test
