#include "Tests/AudioUnits/OutputTesting.h"
#include "Tests/Support/RenderGuard.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <stdexcept>
#include <thread>

namespace kx::test
{
namespace
{

TEST_F(OutputUnitTest, ASixteenBitDeviceGetsTheSourceBitForBitOthersTheSameNumbers)
{
    constexpr uint64_t kTotal = 1 + 511 + 512 + 513 + 5000 + 3;
    const RenderGuard guard;
    const auto play = [&](const VirtualDevice &device) {
        plug(device);
        Chain chain;
        ASSERT_EQ(AudioOutputUnitStart(chain.output), noErr);
        uint64_t total = 0;
        for (const uint32_t frames : {1u, 511u, 512u, 513u, 5000u, 3u}) {
            EXPECT_EQ(hardware->advance(frames), frames);
            EXPECT_EQ(chain.source.position, total += frames) << "no more is pulled than the device wants";
        }
        ASSERT_EQ(AudioOutputUnitStop(chain.output), noErr);
    };
    const auto expected = sequence(kTotal);
    play({.name = "speaker"});
    EXPECT_EQ(heard<int16_t>(), expected);
    play({.name = "float", .bits = 32});
    const auto floats = heard<float>();
    play({.name = "mono", .channels = 1});
    const auto means = heard<int16_t>();
    ASSERT_EQ(floats.size(), expected.size());
    ASSERT_EQ(means.size(), kTotal);
    for (std::size_t i = 0; i < kTotal; ++i) {
        ASSERT_EQ(floats[2 * i], static_cast<float>(expected[2 * i]) / 32768.0f) << "frame " << i;
        ASSERT_NEAR(means[i], (expected[2 * i] + expected[2 * i + 1]) / 2.0, 0.5) << "frame " << i;
    }
    EXPECT_TRUE(!RenderGuard::works() || guard.isClean()) << guard;
}

TEST_F(OutputUnitTest, AnotherRateIsTheStraightConversionToItsLastFrame)
{
    plug({.name = "48k", .sampleRate = 48000});
    Chain chain;
    uint64_t position = 0;
    Callback callback([&](const AudioTimeStamp &time, uint32_t frames, AudioBufferList &data) {
        EXPECT_LE(frames, 512u);
        EXPECT_EQ(time.mSampleTime, static_cast<double>(position)) << "input time counts input frames";
        writeFrames(position, frames, true, data.mBuffers[0].mData);
        if ((position += frames) > 30000) {
            EXPECT_EQ(AudioOutputUnitStop(chain.output), noErr);
        }
        return noErr;
    });
    ASSERT_EQ(callback.feed(chain.converter), noErr);
    const RenderGuard guard;
    ASSERT_EQ(AudioOutputUnitStart(chain.output), noErr);
    hardware->advance(60000);
    ASSERT_TRUE(hardware->waitForStreams(0));
    EXPECT_TRUE(!RenderGuard::works() || guard.isClean()) << guard;

    auto got = heard<int16_t>();
    EXPECT_NEAR(static_cast<double>(got.size()) / 2, static_cast<double>(position) * 48000 / 44100, 2)
        << "what the conversion keeps back is heard after the stop";
    const Converter straight;
    SequenceSource endless;
    ASSERT_EQ(setFormat(straight, kAudioUnitScope_Input, kStandard), noErr);
    ASSERT_EQ(setFormat(straight, kAudioUnitScope_Output, interleaved(48000, 2, 16, kNative16.mFormatFlags)), noErr);
    ASSERT_EQ(set(straight, kAudioUnitProperty_MaximumFramesPerSlice, kAudioUnitScope_Global, 65536u), noErr);
    ASSERT_EQ(endless.feed(straight), noErr);
    ASSERT_EQ(AudioUnitInitialize(straight), noErr);
    got.resize(got.size() - 400); // near the end, one goes on and the other does not
    const auto bytes = renderBytes(straight, static_cast<uint32_t>(got.size() / 2));
    EXPECT_EQ(std::memcmp(bytes.data(), got.data(), bytes.size()), 0);
}

/// A clean guard says something only where it sees what is not clean, on either side of the units.
TEST_F(OutputUnitTest, WhatIsTakenOrLockedOnTheRenderThreadIsCounted)
{
    Chain chain;
    std::mutex lock;
    Callback unclean([&](const AudioTimeStamp &, uint32_t, AudioBufferList &data) {
        const std::lock_guard guard(lock);
        ::operator delete(::operator new(1));
        silence(data);
        return noErr;
    });
    ASSERT_EQ(unclean.feed(chain.converter), noErr);
    hardware->setCapture([](const std::string &, std::span<const std::byte>) { ::operator delete(::operator new(1)); });
    const RenderGuard guard;
    ASSERT_EQ(AudioOutputUnitStart(chain.output), noErr);
    hardware->advance(3 * 512);
    ASSERT_EQ(AudioOutputUnitStop(chain.output), noErr);
    const auto counts = guard.counts();
    if (RenderGuard::works()) {
        EXPECT_TRUE(counts.allocations == 3 && counts.frees == 3 && counts.locks == 3) << guard;
        EXPECT_GE(counts.exempted, 6U) << "of the device's side";
    }
}

TEST_F(OutputUnitTest, StopIsABarrierAndAThousandRoundsLoseNothing)
{
    Chain chain;
    EXPECT_EQ(AudioOutputUnitStart(chain.converter), kAudioUnitErr_InvalidProperty);
    bool stopInside = false;
    uint64_t position = 0; // ordered by stop and start alone
    double frame = 0;      // of the run
    Callback callback([&](const AudioTimeStamp &time, uint32_t frames, AudioBufferList &data) {
        EXPECT_EQ(time.mSampleTime, frame);
        writeFrames(position, frames, true, data.mBuffers[0].mData);
        position += frames;
        frame += frames;
        if (std::exchange(stopInside, false)) {
            EXPECT_EQ(AudioOutputUnitStop(chain.output), noErr);
            EXPECT_FALSE(isRunning(chain.output));
        }
        return noErr;
    });
    ASSERT_EQ(callback.feed(chain.converter), noErr);
    const std::vector<OSStatus (*)(AudioUnit)> ends{AudioOutputUnitStop, AudioOutputUnitSettle, AudioUnitUninitialize,
                                                    AudioOutputUnitStop, AudioOutputUnitStop};
    for (uint32_t round = 0; round < 1000; ++round) {
        const uint32_t way = round % 5;
        frame = 0;
        stopInside = way < 2;
        ASSERT_EQ(AudioOutputUnitStart(chain.output), noErr);
        EXPECT_TRUE(way < 2 || isRunning(chain.output));
        hardware->advance(1 + round % 1300);
        ASSERT_EQ(ends[way](chain.output), noErr);
        EXPECT_FALSE(isRunning(chain.output));
        EXPECT_EQ(hardware->advance(7), 0u) << "nothing is pulled after the end";
        if (way == 2) {
            EXPECT_EQ(AudioOutputUnitStart(chain.output), kAudioUnitErr_Uninitialized);
            ASSERT_EQ(AudioUnitInitialize(chain.output), noErr);
        }
    }
    EXPECT_EQ(heard<int16_t>(), sequence(position));
}

TEST_F(OutputUnitTest, SettleWaitsForTheCallbackThatStopped)
{
    Chain chain;
    Chain other;
    Handshake stopped;
    Handshake settling;
    std::atomic<bool> finished{false};
    Callback callback([&](const AudioTimeStamp &, uint32_t, AudioBufferList &data) {
        EXPECT_EQ(AudioOutputUnitSettle(chain.output), noErr) << "inside it does not wait";
        EXPECT_EQ(AudioOutputUnitStop(other.output), noErr);
        EXPECT_TRUE(isRunning(chain.output) && !isRunning(other.output)) << "each unit has a stop of its own";
        EXPECT_EQ(AudioOutputUnitStop(chain.output), noErr);
        stopped.announce();
        EXPECT_TRUE(settling.await());
        for (int i = 0; i < 1000; ++i)
            std::this_thread::yield(); // so that a settling that does not wait is seen
        silence(data);
        finished = true;
        return noErr;
    });
    ASSERT_EQ(callback.feed(chain.converter), noErr);
    ASSERT_EQ(AudioOutputUnitSettle(chain.output), noErr) << "never started";
    ASSERT_EQ(AudioOutputUnitStart(other.output), noErr);
    ASSERT_EQ(AudioOutputUnitStart(chain.output), noErr);
    ASSERT_EQ(AudioOutputUnitSettle(chain.output), noErr) << "running";
    const std::jthread clock([&] { hardware->advance(100); });
    EXPECT_TRUE(stopped.await());
    settling.announce();
    EXPECT_EQ(AudioOutputUnitSettle(chain.output), noErr);
    EXPECT_TRUE(finished);
}

TEST_F(OutputUnitTest, AVolumeChangeIsLimitedAndHasNoStep)
{
    plug({.name = "float", .bits = 32});
    Output output;
    Callback ones([](const AudioTimeStamp &, uint32_t frames, AudioBufferList &data) {
        for (uint32_t i = 0; i < 2; ++i)
            std::fill_n(static_cast<float *>((&data.mBuffers[0])[i].mData), frames, 1.0f);
        return noErr;
    });
    ASSERT_EQ(ones.feed(output), noErr);
    ASSERT_EQ(AudioUnitInitialize(output), noErr);
    ASSERT_EQ(setVolume(output, 0.5f), noErr);
    ASSERT_EQ(AudioOutputUnitStart(output), noErr);
    float last = 0.5f; // a run begins at its volume
    for (const float volume : {0.5f, 7.0f, -3.0f, 0.7f, -std::numeric_limits<float>::infinity()}) {
        ASSERT_EQ(setVolume(output, volume), noErr);
        EXPECT_EQ(setVolume(output, std::nanf("")), kAudioUnitErr_InvalidParameter) << "and changes nothing";
        for (const uint32_t frames : {1u, 7u, 130u, 900u}) // the ramp goes on from slice to slice
            hardware->advance(frames);
        const auto got = heard<float>();
        for (std::size_t i = 0; i < got.size(); i += 2)
            ASSERT_LE(std::abs(got[i] - std::exchange(last, got[i])), 1.01f / 512) << "sample " << i;
        for (const std::size_t frame : {511, 1037})
            EXPECT_EQ(got[2 * frame], std::clamp(volume, 0.0f, 1.0f)) << "reached exactly, in time";
    }
}

TEST_F(OutputUnitTest, AFailingInputIsSilentAndTheClockGoesOn)
{
    Chain chain;
    int call = 0;
    Callback callback([&](const AudioTimeStamp &time, uint32_t frames, AudioBufferList &data) -> OSStatus {
        EXPECT_EQ(time.mSampleTime, 100.0 * call);
        writeFrames(static_cast<uint64_t>(time.mSampleTime), frames, true, data.mBuffers[0].mData);
        if (++call == 3)
            throw std::runtime_error("out of sound");
        return call == 2 ? kAudioFileReadError : noErr;
    });
    ASSERT_EQ(callback.feed(chain.converter), noErr);
    ASSERT_EQ(AudioOutputUnitStart(chain.output), noErr);
    for (int i = 0; i < 4; ++i)
        hardware->advance(100);
    ASSERT_EQ(chain.converter.dispose(), noErr);
    hardware->advance(100);
    EXPECT_TRUE(isRunning(chain.output));
    ASSERT_EQ(AudioOutputUnitStop(chain.output), noErr);
    auto expected = sequence(500);
    std::fill(expected.begin() + 200, expected.begin() + 600, int16_t{0});
    std::fill(expected.begin() + 800, expected.end(), int16_t{0});
    EXPECT_EQ(heard<int16_t>(), expected);
}

} // namespace
} // namespace kx::test
