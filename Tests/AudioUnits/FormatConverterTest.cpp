#include "Tests/Contracts/UnitContract.h"
#include "Tests/Support/UnitTesting.h"

#include <algorithm>
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
             Row{"six to two", planarFloat(44100, 6), kNative16},
             Row{"48k to 44.1k", planarFloat(48000, 2), kStereoFloat},
             Row{"44.1k to 96k, s16 to float", kStandard, planarFloat(96000, 2)},
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

/// The status and the left channel that a converter gives when its callback fills the list and then does `work` to it.
std::pair<OSStatus, std::vector<float>> renderWith(const std::function<OSStatus(AudioBufferList &)> &work)
{
    Callback callback([&](const AudioTimeStamp &, uint32_t, AudioBufferList &data) {
        for (uint32_t i = 0; i < 2; ++i)
            std::fill_n(static_cast<float *>((&data.mBuffers[0])[i].mData), 4, 1.0f);
        return work(data);
    });
    const Converter unit;
    EXPECT_EQ(work ? callback.feed(unit) : noErr, noErr);
    EXPECT_EQ(AudioUnitInitialize(unit), noErr);
    const BufferList list(2, 1, 16);
    std::memset(list.data(0), 0x55, 16);
    const OSStatus status = AudioUnitRender(unit, nullptr, nullptr, 0, 4, list.get());
    std::vector<float> left(4);
    std::memcpy(left.data(), list.data(0), 16);
    EXPECT_EQ(list.get()->mBuffers[0].mData, list.data(0));
    EXPECT_EQ(list.get()->mBuffers[0].mDataByteSize, 16u);
    return {status, left};
}

TEST(FormatConverter, UnrulyCallbacksDoNoHarm)
{
    static float ownMemory[4] = {1, 2, 3, 4};
    struct Row {
        const char *what;
        std::function<OSStatus(AudioBufferList &)> work;
        OSStatus status;
        std::vector<float> left;
    };
    const auto spoil = [](const auto &change) {
        return [change](AudioBufferList &data) {
            change(data);
            return noErr;
        };
    };
    constexpr OSStatus kBad = kAudioUnitErr_InvalidPropertyValue;
    const std::vector<float> silent(4);
    for (const Row &row : std::vector<Row>{
             {"short", spoil([](auto &data) { data.mBuffers[0].mDataByteSize = 8; }), noErr, {1, 1, 0, 0}},
             {"own memory", spoil([](auto &data) { data.mBuffers[0].mData = ownMemory; }), noErr, {1, 2, 3, 4}},
             {"long", spoil([](auto &data) { data.mBuffers[0].mDataByteSize = 0xFFFFFFFF; }), kBad, silent},
             {"no memory", spoil([](auto &data) { data.mBuffers[0].mData = nullptr; }), kBad, silent},
             {"one buffer", spoil([](auto &data) { data.mNumberBuffers = 1; }), kBad, silent},
             {"4000 buffers", spoil([](auto &data) { data.mNumberBuffers = 4000; }), kBad, silent},
             {"status", [](auto &) { return kAudioFileReadError; }, kAudioFileReadError, silent},
             {"exception", [](auto &) -> OSStatus { throw std::runtime_error("no"); }, kAudioHardwareUnspecifiedError,
              silent},
             {"no callback", {}, kAudioUnitErr_NoConnection, silent},
         })
        EXPECT_EQ(renderWith(row.work), std::pair(row.status, row.left)) << row.what;
}

} // namespace
} // namespace kx::test
