#include "KXFW/Platform/Conversion/RateConverter.h"
#include "Tests/Contracts/UnitContract.h"
#include "Tests/Support/UnitTesting.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <stdexcept>

namespace kx::test
{
namespace
{

constexpr AudioComponentDescription kConverter{kAudioUnitType_FormatConverter, kAudioUnitSubType_AUConverter, 0, 0, 0};

TEST(FormatConverter, KeepsTheContractInEveryFormat)
{
    struct Row {
        const char *name;
        AudioStreamBasicDescription in;
        AudioStreamBasicDescription out;
    };
    for (const Row &row : {
             Row{"s16 BE to planar float", kStandard, kStereoFloat},
             Row{"planar float to s16 BE", kStereoFloat, kStandard},
             Row{"one format", kStereoFloat, kStereoFloat},
             Row{"s16 either order", kNative16, kStandard},
             Row{"mono to stereo", planarFloat(44100, 1), kStereoFloat},
             Row{"six to two", planarFloat(44100, 6), kNative16},
             Row{"48k to 44.1k", planarFloat(48000, 2), kStereoFloat},
             Row{"44.1k to 96k, s16 to float", kStandard, planarFloat(96000, 2)},
             Row{"22.05k mono to stereo s16", planarFloat(22050, 1), kNative16},
             Row{"8k stereo to 192k mono", planarFloat(8000, 2), planarFloat(192000, 1)},
         }) {
        UnitContract{row.name, kConverter,
                     [&](AudioUnit unit) {
                         ASSERT_EQ(setFormat(unit, kAudioUnitScope_Input, row.in), noErr);
                         ASSERT_EQ(setFormat(unit, kAudioUnitScope_Output, row.out), noErr);
                     }}
            .check();
    }
}

TEST(FormatConverter, SixteenBitsPassAPairOfConvertersUnchangedFrameForFrame)
{
    const Converter pre;
    const Converter post;
    SequenceSource source;
    ASSERT_EQ(setFormat(pre, kAudioUnitScope_Input, kStandard), noErr);
    ASSERT_EQ(AudioUnitInitialize(pre), noErr);
    ASSERT_EQ(AudioUnitInitialize(post), noErr);
    ASSERT_EQ(setFormat(post, kAudioUnitScope_Output, kStandard), noErr) << "after initialising";
    ASSERT_EQ(source.feed(pre), noErr);
    ASSERT_EQ(connect(pre, post), noErr);

    std::mt19937 random(7);
    for (int i = 0; i < 200; ++i) {
        const auto first = source.position.load();
        const auto calls = source.calls.load();
        const auto frames = static_cast<uint32_t>(random() % 4097);
        std::vector<std::byte> expected(frames * 4u);
        writeFrames(first, frames, true, expected.data());
        ASSERT_EQ(renderBytes(post, frames), expected) << frames << " frames at " << first;
        ASSERT_EQ(source.position, first + frames);
        ASSERT_EQ(source.calls, calls + (frames > 0 ? 1 : 0)) << "asked once, for all of it";
    }
}

TEST(FormatConverter, FormatsMayChangeAtAnyTime)
{
    const Converter unit;
    SequenceSource source;
    ASSERT_EQ(source.feed(unit), noErr);
    ASSERT_EQ(AudioUnitInitialize(unit), noErr);
    ASSERT_EQ(setFormat(unit, kAudioUnitScope_Input, kStandard), noErr);
    EXPECT_EQ(renderLeft(unit, {1})[0], static_cast<float>(sampleAt(0)) / 32768.0f);
    ASSERT_EQ(AudioUnitUninitialize(unit), noErr);
    ASSERT_EQ(setFormat(unit, kAudioUnitScope_Output, kNative16), noErr);
    ASSERT_EQ(AudioUnitInitialize(unit), noErr);
    std::vector<std::byte> expected(4);
    writeFrames(1, 1, false, expected.data());
    EXPECT_EQ(renderBytes(unit, 1), expected);
}

TEST(FormatConverter, RateChangeGivesTheStraightConversion)
{
    const auto wave = [](uint64_t frame) {
        return static_cast<float>(0.5 * std::sin(0.05 * static_cast<double>(frame)));
    };
    uint64_t position = 0;
    std::vector<double> times;
    Callback callback([&](const AudioTimeStamp &time, uint32_t frames, AudioBufferList &data) {
        EXPECT_LE(frames, 512u);
        times.push_back(time.mSampleTime);
        for (uint32_t i = 0; i < frames; ++i)
            static_cast<float *>(data.mBuffers[0].mData)[i] = wave(position++);
        return noErr;
    });
    const Converter unit;
    ASSERT_EQ(setFormat(unit, kAudioUnitScope_Input, planarFloat(48000, 1)), noErr);
    ASSERT_EQ(setFormat(unit, kAudioUnitScope_Output, planarFloat(44100, 1)), noErr);
    ASSERT_EQ(callback.feed(unit), noErr);
    ASSERT_EQ(AudioUnitInitialize(unit), noErr);
    const auto made = renderLeft(unit, {1000, 1, 4096, 333});

    std::vector<float> in(20000);
    for (std::size_t i = 0; i < in.size(); ++i)
        in[i] = wave(i);
    auto straight = *RateConverter::make(48000, 44100, 1, static_cast<uint32_t>(in.size()));
    std::vector<float> expected(made.size());
    const float *from[] = {in.data()};
    float *to[] = {expected.data()};
    ASSERT_EQ(straight->process(from, static_cast<uint32_t>(in.size()), to, static_cast<uint32_t>(expected.size()))
                  .outputMade,
              expected.size());
    EXPECT_EQ(made, expected);
    for (std::size_t i = 0; i < times.size(); ++i)
        EXPECT_EQ(times[i], 512.0 * static_cast<double>(i)) << "input time counts input frames";
}

/// What the left channel of an initialised converter gives when its callback does `work` to the list.
std::pair<OSStatus, std::vector<float>> renderWith(const Callback::Work &work)
{
    Callback callback(work);
    const Converter unit;
    EXPECT_EQ(callback.feed(unit), noErr);
    EXPECT_EQ(AudioUnitInitialize(unit), noErr);
    const BufferList list(2, 1, 16);
    std::memset(list.data(0), 0x55, 16);
    const AudioTimeStamp time{};
    const OSStatus status = AudioUnitRender(unit, nullptr, &time, 0, 4, list.get());
    std::vector<float> left(4);
    std::memcpy(left.data(), list.data(0), 16);
    EXPECT_EQ(list.get()->mBuffers[0].mData, list.data(0));
    EXPECT_EQ(list.get()->mBuffers[0].mDataByteSize, 16u);
    return {status, left};
}

void fillOnes(AudioBufferList &data)
{
    for (uint32_t i = 0; i < 2; ++i)
        std::fill_n(static_cast<float *>((&data.mBuffers[0])[i].mData), 4, 1.0f);
}

TEST(FormatConverter, UnrulyCallbacksDoNoHarm)
{
    using Left = std::vector<float>;
    using Outcome = std::pair<OSStatus, Left>;
    const Left silent(4);
    static float ownMemory[4] = {1, 2, 3, 4};

    EXPECT_EQ(renderWith([](const AudioTimeStamp &, uint32_t, AudioBufferList &data) {
                  fillOnes(data);
                  data.mBuffers[0].mDataByteSize = 8;
                  return noErr;
              }),
              (Outcome{noErr, {1, 1, 0, 0}}))
        << "a short buffer ends in silence";
    EXPECT_EQ(renderWith([](const AudioTimeStamp &, uint32_t, AudioBufferList &data) {
                  fillOnes(data);
                  data.mBuffers[0].mData = ownMemory;
                  return noErr;
              }),
              (Outcome{noErr, {1, 2, 3, 4}}))
        << "memory of the callback's own is taken over";
    for (const auto &spoil : std::vector<std::function<void(AudioBufferList &)>>{
             [](AudioBufferList &data) { data.mBuffers[0].mDataByteSize = 0xFFFFFFFF; },
             [](AudioBufferList &data) { data.mBuffers[0].mData = nullptr; },
             [](AudioBufferList &data) { data.mNumberBuffers = 1; },
             [](AudioBufferList &data) { data.mNumberBuffers = 4000; },
         })
        EXPECT_EQ(renderWith([&](const AudioTimeStamp &, uint32_t, AudioBufferList &data) {
                      fillOnes(data);
                      spoil(data);
                      return noErr;
                  }),
                  (Outcome{kAudioUnitErr_InvalidPropertyValue, silent}));
    EXPECT_EQ(renderWith([](const AudioTimeStamp &, uint32_t, AudioBufferList &data) {
                  fillOnes(data);
                  return kAudioFileReadError;
              }),
              (Outcome{kAudioFileReadError, silent}));
    EXPECT_EQ(renderWith([](const AudioTimeStamp &, uint32_t, AudioBufferList &) -> OSStatus {
                  throw std::runtime_error("no");
              }),
              (Outcome{kAudioHardwareUnspecifiedError, silent}));
}

TEST(FormatConverter, WithoutInputItGivesSilenceAndSaysSo)
{
    const Converter unit;
    ASSERT_EQ(AudioUnitInitialize(unit), noErr);
    const BufferList list(2, 1, 16);
    std::memset(list.data(1), 0x55, 16);
    EXPECT_EQ(AudioUnitRender(unit, nullptr, nullptr, 0, 4, list.get()), kAudioUnitErr_NoConnection);
    EXPECT_EQ(std::count(list.data(1), list.data(1) + 16, std::byte{0}), 16);
}

} // namespace
} // namespace kx::test
