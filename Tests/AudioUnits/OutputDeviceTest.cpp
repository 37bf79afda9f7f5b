// Devices that go, inputs that block, units that end while they play, and control from everywhere.
#include "KXFW/Platform/AudioUnits/UnitRegistry.h"
#include "Tests/AudioUnits/OutputTesting.h"
#include "Tests/Support/Eventually.h"

#include <array>

namespace kx::test
{
namespace
{

TEST_F(OutputUnitTest, ALostDeviceIsWaitedForAndPlaysOn)
{
    Chain chain;
    const auto heardTime = [&] {
        return get<AudioTimeStamp>(chain.output, kAudioOutputUnitProperty_HeardTime, kAudioUnitScope_Global)
            .mSampleTime;
    };
    for (const AudioObjectID none : {AudioObjectID{0xFFFFFFFF}, AudioObjectID{kAudioObjectSystemObject}})
        EXPECT_EQ(setDevice(chain.output, none), kAudioHardwareBadDeviceError);
    hardware->setDevices({{.name = "another"}}); // gone at the start
    ASSERT_EQ(AudioOutputUnitStart(chain.output), noErr);
    for (int round = 1; round <= 3; ++round) {
        ASSERT_TRUE(hardware->waitForStreams(0));
        EXPECT_TRUE(isRunning(chain.output));
        EXPECT_EQ(hardware->advance(1000), 0u);
        EXPECT_EQ(heardTime(), 1000.0 * (round - 1)) << "kept while there is no device";
        hardware->setDevices({{.name = "speaker"}, {.name = "another"}});
        ASSERT_TRUE(hardware->waitForStreams(1));
        hardware->advance(1000);
        EXPECT_EQ(chain.source.position, static_cast<uint64_t>(1000 * round));
        EXPECT_EQ(heardTime(), 1000.0 * round);
        hardware->setDevices({{.name = "another"}});
    }
    ASSERT_EQ(AudioOutputUnitStop(chain.output), noErr) << "a stop does not wait for the device";
    EXPECT_EQ(heard<int16_t>(), sequence(3000));
    ASSERT_EQ(setDevice(chain.output, 0), noErr);
    ASSERT_EQ(AudioOutputUnitStart(chain.output), noErr);
    EXPECT_TRUE(isRunning(chain.output)) << "without a device it waits in silence";
    EXPECT_EQ(hardware->openStreams(), 0u);
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
    Chain other; // plays on by the same clock
    int call = 0;
    Callback blocking([&](const AudioTimeStamp &, uint32_t, AudioBufferList &data) {
        if (++call % 20 == 0) { // until the device holds nothing, and for slices more of the other unit
            EXPECT_TRUE(eventually([&] { return latency() == 0; }));
            const uint64_t slices = other.source.calls;
            EXPECT_TRUE(eventually([&] { return other.source.calls >= slices + 3; }));
        }
        silence(data);
        return noErr;
    });
    ASSERT_EQ(blocking.feed(output), noErr);
    ASSERT_EQ(AudioUnitInitialize(output), noErr);
    ASSERT_EQ(AudioOutputUnitStart(other.output), noErr);
    ASSERT_EQ(AudioOutputUnitStart(output), noErr);
    EXPECT_TRUE(eventually([&] { return underruns() > 0; }));
    ASSERT_EQ(AudioOutputUnitStop(output), noErr);
    ASSERT_EQ(AudioOutputUnitStop(other.output), noErr);
    EXPECT_GE(underruns(), 1u) << "kept after the run";
    EXPECT_EQ(latency(), 0u);
}

TEST_F(OutputUnitTest, DisposedWhileRunningItIsGoneAtOnce)
{
    for (int round = 0; round < 50; ++round) {
        Chain chain;
        const std::weak_ptr<Unit> watched = UnitRegistry::find(chain.output);
        ASSERT_EQ(AudioOutputUnitStart(chain.output), noErr);
        if (round % 2)
            hardware->advance(10);
        if (round % 3 == 0)
            chain.converter.dispose(); // the source first
        ASSERT_EQ(chain.output.dispose(), noErr);
        EXPECT_EQ(hardware->advance(10), 0u);
        EXPECT_EQ(chain.source.position, round % 2 ? 10u : 0u);
        EXPECT_TRUE(watched.expired());
    }
}

TEST_F(OutputUnitTest, DisposedInsideItsCallbackItEndsByItself)
{
    for (int round = 0; round < 50; ++round) {
        Chain chain;
        const std::weak_ptr<Unit> watched = UnitRegistry::find(chain.output);
        Callback callback([&](const AudioTimeStamp &, uint32_t frames, AudioBufferList &data) {
            writeFrames(0, frames, true, data.mBuffers[0].mData);
            const AudioUnit handle = chain.output;
            EXPECT_EQ(AudioOutputUnitStart(handle), noErr) << "it runs";
            EXPECT_EQ(chain.output.dispose(), noErr);
            EXPECT_EQ(AudioOutputUnitStop(handle), kAudioComponentErr_InstanceInvalidated);
            EXPECT_EQ(round % 2 ? chain.converter.dispose() : noErr, noErr);
            return noErr;
        });
        ASSERT_EQ(callback.feed(chain.converter), noErr);
        ASSERT_EQ(AudioOutputUnitStart(chain.output), noErr);
        hardware->advance(100);
        ASSERT_TRUE(eventually([&] { return watched.expired(); }));
        EXPECT_EQ(hardware->openStreams(), 0u);
    }
    EXPECT_EQ(heard<int16_t>().size(), 50u * 100 * 2);
}

/// Starts, stops, settles, questions and volume changes from four threads, stops from inside in between.
TEST_F(OutputUnitTest, ControlFromManyThreadsIsOrdered)
{
    plug({.name = "speaker"}, VirtualClock::FlatOut);
    Chain chain;
    std::atomic<uint64_t> calls{0};
    Callback callback([&](const AudioTimeStamp &, uint32_t, AudioBufferList &data) {
        EXPECT_EQ(++calls % 7 == 0 ? AudioOutputUnitStop(chain.output) : noErr, noErr);
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
                EXPECT_EQ((i % 3 == t % 3 ? AudioOutputUnitSettle : AudioOutputUnitStop)(chain.output), noErr);
            }
        });
    for (auto &thread : threads)
        thread.join();
    EXPECT_EQ(AudioOutputUnitStop(chain.output), noErr);
    const auto after = calls.load();
    EXPECT_EQ(hardware->openStreams(), 0u);
    EXPECT_EQ(calls, after);
}

} // namespace
} // namespace kx::test
