#include "KXFW/Platform/Conversion/RateConverter.h"
#include "KXFW/Platform/Conversion/SampleFormat.h"
#include "Tests/AudioUnits/OutputTesting.h"
#include "Tests/Support/RenderGuard.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <thread>

namespace kx::test
{
namespace
{

TEST_F(OutputUnitTest, ASixteenBitDeviceGetsTheSourceBitForBitOthersTheSameNumbers)
{
    constexpr uint64_t kTotal = 1 + 511 + 512 + 513 + 5000 + 3;
    const auto play = [&](const VirtualDevice &device) {
        plug(device);
        Chain chain;
        ASSERT_EQ(AudioOutputUnitStart(chain.output), noErr);
        uint64_t total = 0;
        for (const uint32_t frames : {1u, 511u, 512u, 513u, 5000u, 3u}) {
            EXPECT_EQ(hardware.advance(frames), frames);
            EXPECT_EQ(chain.source.position, total += frames) << "no more is pulled than the device wants";
        }
        ASSERT_EQ(AudioOutputUnitStop(chain.output), noErr);
    };
    const auto expected = sequence(kTotal);
    play({.name = "speaker"});
    EXPECT_EQ(recording.samples<int16_t>(), expected);
    recording.clear();
    play({.name = "float", .bits = 32});
    const auto floats = recording.samples<float>();
    recording.clear();
    play({.name = "mono", .channels = 1});
    const auto means = recording.samples<int16_t>();
    ASSERT_EQ(floats.size(), expected.size());
    ASSERT_EQ(means.size(), kTotal);
    for (std::size_t i = 0; i < kTotal; ++i) {
        ASSERT_EQ(floats[2 * i], static_cast<float>(expected[2 * i]) / 32768.0f) << "frame " << i;
        ASSERT_NEAR(means[i], (expected[2 * i] + expected[2 * i + 1]) / 2.0, 0.5) << "frame " << i;
    }
}

/// The straight conversion of `frames` frames of the sequence to `rate`, end told, as 16-bit stereo.
std::vector<int16_t> resampled(uint64_t frames, double rate)
{
    const auto in = sequence(frames);
    std::vector<float> planes[2] = {std::vector<float>(frames), std::vector<float>(frames)};
    for (std::size_t i = 0; i < in.size(); ++i)
        planes[i % 2][i / 2] = static_cast<float>(in[i]) / 32768.0f;
    const float *from[] = {planes[0].data(), planes[1].data()};
    const auto room = static_cast<uint32_t>(static_cast<double>(frames) * rate / 44100 + 64);
    std::vector<float> out[2] = {std::vector<float>(room), std::vector<float>(room)};

    auto converter = *RateConverter::make(44100, rate, 2, static_cast<uint32_t>(frames));
    float *to[] = {out[0].data(), out[1].data()};
    uint32_t made = converter->process(from, static_cast<uint32_t>(frames), to, room).outputMade;
    for (uint32_t more = 1; more > 0 && made < room; made += more) {
        float *rest[] = {to[0] + made, to[1] + made};
        more = converter->process(nullptr, 0, rest, room - made).outputMade;
    }
    std::vector<int16_t> samples(made * 2u);
    AudioBufferList list{1, {{2, made * 4, samples.data()}}};
    fromPlanarFloat(kNative16, to, made, list, 0);
    return samples;
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
    ASSERT_EQ(AudioOutputUnitStart(chain.output), noErr);
    hardware.advance(60000);
    ASSERT_TRUE(hardware.waitForStreams(0));
    EXPECT_EQ(recording.samples<int16_t>(), resampled(position, 48000))
        << "what the conversion keeps back is heard after the stop";
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
    const auto end = [&](int round) {
        if (round % 5 == 1)
            return AudioOutputUnitSettle(chain.output);
        if (round % 5 == 2)
            return AudioUnitUninitialize(chain.output);
        return AudioOutputUnitStop(chain.output);
    };
    for (int round = 0; round < 1000; ++round) {
        frame = 0;
        stopInside = round % 5 < 2;
        ASSERT_EQ(AudioOutputUnitStart(chain.output), noErr);
        if (!stopInside) {
            EXPECT_TRUE(isRunning(chain.output));
        }
        hardware.advance(static_cast<uint32_t>(1 + round % 1300));
        ASSERT_EQ(end(round), noErr);
        EXPECT_FALSE(isRunning(chain.output));
        EXPECT_EQ(hardware.advance(7), 0u) << "nothing is pulled after the end";
        if (round % 5 == 2) {
            EXPECT_EQ(AudioOutputUnitStart(chain.output), kAudioUnitErr_Uninitialized);
            ASSERT_EQ(AudioUnitInitialize(chain.output), noErr);
        }
    }
    EXPECT_EQ(recording.samples<int16_t>(), sequence(position));
}

TEST_F(OutputUnitTest, AStartWhileTheOldRunDrainsBeginsANewOne)
{
    plug({.name = "speaker"}, VirtualClock::RealTime);
    Chain chain;
    for (int round = 0; round < 20; ++round) {
        int runs = 0; // of the render threads, one after the other
        Handshake second;
        Callback callback([&](const AudioTimeStamp &time, uint32_t, AudioBufferList &data) {
            silence(data);
            runs += time.mSampleTime == 0 ? 1 : 0;
            if (runs == 1) {
                EXPECT_EQ(AudioOutputUnitStop(chain.output), noErr);
            } else if (time.mSampleTime > 0) {
                second.announce();
            }
            return noErr;
        });
        ASSERT_EQ(callback.feed(chain.converter), noErr);
        ASSERT_EQ(AudioOutputUnitStart(chain.output), noErr);
        while (isRunning(chain.output))
            std::this_thread::yield();
        ASSERT_EQ(AudioOutputUnitStart(chain.output), noErr);
        ASSERT_TRUE(second.await());
        EXPECT_TRUE(isRunning(chain.output)) << "the old run's stop is none of the new one's";
        ASSERT_EQ(AudioOutputUnitStop(chain.output), noErr);
        EXPECT_EQ(runs, 2);
    }
}

TEST_F(OutputUnitTest, SettleWaitsForTheCallbackThatStopped)
{
    Chain chain;
    Handshake stopped;
    Handshake release;
    std::atomic<bool> released{false};
    Callback callback([&](const AudioTimeStamp &, uint32_t, AudioBufferList &data) {
        EXPECT_EQ(AudioOutputUnitSettle(chain.output), noErr) << "inside it does not wait";
        EXPECT_EQ(AudioOutputUnitStop(chain.output), noErr);
        stopped.announce();
        EXPECT_TRUE(release.await());
        silence(data);
        return noErr;
    });
    ASSERT_EQ(callback.feed(chain.converter), noErr);
    ASSERT_EQ(AudioOutputUnitSettle(chain.output), noErr) << "never started";
    ASSERT_EQ(AudioOutputUnitStart(chain.output), noErr);
    ASSERT_EQ(AudioOutputUnitSettle(chain.output), noErr) << "running";
    std::thread clock([&] { hardware.advance(100); });
    EXPECT_TRUE(stopped.await());
    std::thread settler([&] {
        EXPECT_EQ(AudioOutputUnitSettle(chain.output), noErr);
        EXPECT_TRUE(released);
    });
    released = true;
    release.announce();
    settler.join();
    clock.join();
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
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    ASSERT_EQ(ones.feed(output), noErr);
    ASSERT_EQ(AudioUnitInitialize(output), noErr);
    ASSERT_EQ(setVolume(output, 0.5f), noErr);
    ASSERT_EQ(AudioOutputUnitStart(output), noErr);
    for (const float volume : {0.5f, 7.0f, -3.0f, 0.7f, -kInfinity, kInfinity}) {
        ASSERT_EQ(setVolume(output, volume), noErr);
        EXPECT_EQ(setVolume(output, std::nanf("")), kAudioUnitErr_InvalidParameter) << "and changes nothing";
        for (const uint32_t frames : {1u, 7u, 130u, 900u}) // the ramp goes on from slice to slice
            hardware.advance(frames);
        EXPECT_EQ(recording.samples<float>().back(), std::clamp(volume, 0.0f, 1.0f)) << "reached exactly";
    }
    const auto got = recording.samples<float>();
    EXPECT_EQ(got[0], 0.5f) << "a run begins at its volume";
    for (std::size_t i = 2; i < got.size(); ++i)
        ASSERT_LE(std::abs(got[i] - got[i - 2]), 1.01f / 512) << "sample " << i;
}

TEST_F(OutputUnitTest, AFailingInputIsSilentAndTheClockGoesOn)
{
    Chain chain;
    int call = 0;
    Callback callback([&](const AudioTimeStamp &time, uint32_t frames, AudioBufferList &data) -> OSStatus {
        EXPECT_EQ(time.mSampleTime, 100.0 * call);
        writeFrames(static_cast<uint64_t>(time.mSampleTime), frames, true, data.mBuffers[0].mData);
        switch (call++) {
        case 1:
            return kAudioFileReadError;
        case 2:
            throw std::runtime_error("out of sound");
        default:
            return noErr;
        }
    });
    ASSERT_EQ(callback.feed(chain.converter), noErr);
    ASSERT_EQ(AudioOutputUnitStart(chain.output), noErr);
    for (int i = 0; i < 4; ++i)
        hardware.advance(100);
    ASSERT_EQ(chain.converter.dispose(), noErr);
    hardware.advance(100);
    EXPECT_TRUE(isRunning(chain.output));
    ASSERT_EQ(AudioOutputUnitStop(chain.output), noErr);

    auto expected = sequence(500);
    std::fill(expected.begin() + 200, expected.begin() + 600, int16_t{0});
    std::fill(expected.begin() + 800, expected.end(), int16_t{0});
    EXPECT_EQ(recording.samples<int16_t>(), expected);
}

TEST_F(OutputUnitTest, RenderingDoesNotAllocateOrLock)
{
    if (!RenderGuard::works())
        GTEST_SKIP() << "nothing is counted under a sanitizer";
    for (const double rate : {44100.0, 48000.0}) {
        plug({.name = std::to_string(rate), .sampleRate = rate});
        Chain chain;
        ASSERT_EQ(AudioOutputUnitStart(chain.output), noErr);
        const RenderGuard guard;
        for (uint32_t i = 0; i < 300; ++i) {
            setVolume(chain.output, static_cast<float>(i % 10) / 10);
            hardware.advance(i * 7);
        }
        EXPECT_TRUE(guard.isClean()) << guard << " at " << rate;
        EXPECT_GT(chain.source.calls, 300u);
    }
}

} // namespace
} // namespace kx::test
