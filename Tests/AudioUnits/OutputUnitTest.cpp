// What a device hears of an output unit, and when.
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

TEST_F(OutputUnitTest, ADeviceGetsWhatTheConversionToItsFormatGivesToTheLastFrame)
{
    const auto play = [&](const VirtualDevice &device, const AudioStreamBasicDescription &format) {
        SCOPED_TRACE(device.name);
        plug(device);
        uint64_t position = 0;
        const Chain chain([&](const AudioTimeStamp &time, uint32_t frames, AudioBufferList &data) {
            EXPECT_LE(frames, 512u);
            EXPECT_EQ(time.mSampleTime, static_cast<double>(position)) << "input time counts input frames";
            writeFrames(position, frames, data.mBuffers[0].mData);
            if ((position += frames) > 30000) {
                EXPECT_EQ(AudioOutputUnitStop(chain.output), noErr);
            }
            return noErr;
        });
        const RenderGuard guard;
        ASSERT_EQ(AudioOutputUnitStart(chain.output), noErr);
        uint64_t total = 0;
        for (const uint32_t frames : {1u, 511u, 512u, 513u, 5000u, 3u}) {
            EXPECT_EQ(hardware->advance(frames), frames);
            total += frames;
            EXPECT_TRUE(device.sampleRate != 44100 || position == total) << "more is pulled than the device wants";
        }
        hardware->advance(60000);
        ASSERT_TRUE(hardware->waitForStreams(0));
        EXPECT_TRUE(!RenderGuard::works() || guard.isClean()) << guard;

        const auto got = heard<std::byte>();
        const auto frames = static_cast<uint32_t>(got.size()) / format.mBytesPerFrame;
        EXPECT_NEAR(frames, static_cast<double>(position) * format.mSampleRate / 44100, 2)
            << "what the conversion keeps back is heard after the stop";
        const Converter straight(kStandard, format);
        SequenceSource endless;
        ASSERT_EQ(set(straight, kAudioUnitProperty_MaximumFramesPerSlice, kAudioUnitScope_Global, 65536u), noErr);
        ASSERT_EQ(endless.feed(straight), noErr);
        ASSERT_EQ(AudioUnitInitialize(straight), noErr);
        const auto bytes = renderBytes(straight, frames - 200); // near the end, one goes on and the other does not
        EXPECT_EQ(std::memcmp(bytes.data(), got.data(), bytes.size()), 0);
        if (sameFormat(format, kNative16)) {
            EXPECT_EQ(std::memcmp(sequence(frames).data(), got.data(), got.size()), 0) << "bit for bit";
        }
    };
    constexpr uint32_t kIntegers = kNative16.mFormatFlags;
    play({.name = "speaker"}, kNative16);
    play({.name = "float", .bits = 32}, interleaved(44100, 2, 32, kAudioFormatFlagIsFloat));
    play({.name = "mono", .channels = 1}, interleaved(44100, 1, 16, kIntegers));
    play({.name = "48k", .sampleRate = 48000}, interleaved(48000, 2, 16, kIntegers));
}

/// A clean guard says something only where it sees what is not clean, on either side of the units.
TEST_F(OutputUnitTest, WhatIsTakenOrLockedOnTheRenderThreadIsCounted)
{
    std::mutex lock;
    const Chain chain([&](const AudioTimeStamp &, uint32_t, AudioBufferList &) {
        const std::lock_guard guard(lock);
        ::operator delete(::operator new(1));
        return noErr;
    });
    hardware->setCapture([](const std::string &, std::span<const std::byte>) { ::operator delete(::operator new(1)); });
    const RenderGuard guard;
    ASSERT_EQ(AudioOutputUnitStart(chain.output), noErr);
    hardware->advance(3 * 512);
    ASSERT_EQ(AudioOutputUnitStop(chain.output), noErr);
    const auto counts = guard.counts();
    EXPECT_TRUE(!RenderGuard::works() ||
                (counts.allocations == 3 && counts.frees == 3 && counts.locks == 3 && counts.exempted >= 6))
        << guard;
}

TEST_F(OutputUnitTest, StopIsABarrierAndAThousandRoundsLoseNothing)
{
    bool stopInside = false;
    uint64_t position = 0; // ordered by stop and start alone
    double frame = 0;      // of the run
    const Chain chain([&](const AudioTimeStamp &time, uint32_t frames, AudioBufferList &data) {
        EXPECT_EQ(time.mSampleTime, frame);
        writeFrames(position, frames, data.mBuffers[0].mData);
        position += frames;
        frame += frames;
        if (std::exchange(stopInside, false)) {
            EXPECT_EQ(AudioOutputUnitStop(chain.output), noErr);
            EXPECT_FALSE(isRunning(chain.output));
        }
        return noErr;
    });
    EXPECT_EQ(AudioOutputUnitStart(chain.converter), kAudioUnitErr_InvalidProperty);
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
    Handshake stopped;
    Handshake settling;
    std::atomic<bool> finished{false};
    const Chain other;
    const Chain chain([&](const AudioTimeStamp &, uint32_t, AudioBufferList &) {
        EXPECT_EQ(AudioOutputUnitSettle(chain.output), noErr) << "inside it does not wait";
        EXPECT_EQ(AudioOutputUnitStop(other.output), noErr);
        EXPECT_TRUE(isRunning(chain.output) && !isRunning(other.output)) << "each unit has a stop of its own";
        EXPECT_EQ(AudioOutputUnitStop(chain.output), noErr);
        stopped.announce();
        EXPECT_TRUE(settling.await());
        linger();
        finished = true;
        return noErr;
    });
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
    const Output output;
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
        for (const std::size_t frame : {511U, 1037U})
            EXPECT_EQ(got[2 * frame], std::clamp(volume, 0.0f, 1.0f)) << "reached exactly, in time";
    }
}

} // namespace
} // namespace kx::test
