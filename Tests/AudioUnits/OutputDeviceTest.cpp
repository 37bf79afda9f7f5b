// Devices that go, inputs that block, units that end while they play, and control from everywhere.
#include "KXFW/Platform/AudioUnits/UnitRegistry.h"
#include "Tests/AudioUnits/OutputTesting.h"
#include "Tests/Support/Eventually.h"

namespace kx::test
{
namespace
{

TEST_F(OutputUnitTest, ALostDeviceIsWaitedForAndPlaysOn)
{
    const Chain chain;
    const auto heardTime = [&] {
        return tell<AudioTimeStamp>(chain.output, kAudioOutputUnitProperty_HeardTime).mSampleTime;
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
        EXPECT_EQ(AudioOutputUnitStart(chain.output), noErr) << "it is, and goes on";
        EXPECT_EQ(chain.source.position, static_cast<uint64_t>(1000 * round));
        EXPECT_EQ(heardTime(), 1000.0 * round);
        hardware->setDevices({{.name = "another"}});
    }
    ASSERT_EQ(AudioOutputUnitStop(chain.output), noErr) << "a stop does not wait for the device";
    EXPECT_EQ(heardTime(), 3000.0);
    EXPECT_EQ(heard<int16_t>(), sequence(3000));
    ASSERT_EQ(setDevice(chain.output, 0), noErr);
    ASSERT_EQ(AudioOutputUnitStart(chain.output), noErr);
    EXPECT_TRUE(isRunning(chain.output)) << "without a device it waits in silence";
    EXPECT_EQ(hardware->openStreams(), 0u);
}

TEST_F(OutputUnitTest, AnInputThatBlocksIsCountedAsUnderrun)
{
    plug({.name = "speaker"}, VirtualClock::RealTime);
    const Chain other; // plays on by the same clock
    int call = 0;
    std::function<uint32_t()> latency;
    const Chain chain([&](const AudioTimeStamp &, uint32_t, AudioBufferList &) {
        if (++call % 20 == 0) { // until the device holds nothing, and for slices more of the other unit
            EXPECT_TRUE(eventually([&] { return latency() == 0; }));
            const uint64_t slices = other.source.calls;
            EXPECT_TRUE(eventually([&] { return other.source.calls >= slices + 3; }));
        }
        return noErr;
    });
    latency = [&] { return tell<uint32_t>(chain.output, kAudioOutputUnitProperty_DeviceLatency); };
    ASSERT_EQ(AudioOutputUnitStart(other.output), noErr);
    ASSERT_EQ(AudioOutputUnitStart(chain.output), noErr);
    const auto underruns = [&] { return tell<uint64_t>(chain.output, kAudioOutputUnitProperty_Underruns); };
    EXPECT_TRUE(eventually([&] { return underruns() > 0; }));
    ASSERT_EQ(AudioOutputUnitStop(chain.output), noErr);
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
        EXPECT_EQ(chain.output.dispose(), noErr);
        EXPECT_EQ(hardware->advance(10), 0u);
        EXPECT_EQ(chain.source.position, round % 2 ? 10u : 0u);
        ASSERT_TRUE(watched.expired());
    }
}

TEST_F(OutputUnitTest, DisposedInsideItsCallbackItEndsByItself)
{
    for (int round = 0; round < 50; ++round) {
        Chain chain([&](const AudioTimeStamp &, uint32_t frames, AudioBufferList &data) {
            writeFrames(0, frames, data.mBuffers[0].mData);
            const AudioUnit handle = chain.output;
            EXPECT_EQ(AudioOutputUnitStart(handle), noErr) << "it runs";
            EXPECT_EQ(chain.output.dispose(), noErr);
            EXPECT_EQ(AudioOutputUnitStop(handle), kAudioComponentErr_InstanceInvalidated);
            EXPECT_EQ(round % 2 ? chain.converter.dispose() : noErr, noErr);
            return noErr;
        });
        const std::weak_ptr<Unit> watched = UnitRegistry::find(chain.output);
        ASSERT_EQ(AudioOutputUnitStart(chain.output), noErr);
        hardware->advance(100);
        ASSERT_TRUE(eventually([&] { return watched.expired(); }));
        EXPECT_EQ(hardware->openStreams(), 0u);
    }
    EXPECT_EQ(heard<int16_t>().size(), 50u * 100 * 2);
}

} // namespace
} // namespace kx::test
