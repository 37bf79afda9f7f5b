#include "Tests/Contracts/UnitContract.h"
#include "Tests/Support/UnitTesting.h"

#include <algorithm>
#include <stdexcept>

namespace kx::test
{
namespace
{

TEST(FormatConverter, KeepsTheContractInEveryFormat)
{
    for (const auto &formats :
         {std::pair(kStandard, kStereoFloat), std::pair(kStereoFloat, kStandard),
          std::pair(planarFloat(44100, 6), kNative16), std::pair(planarFloat(48000, 2), kStereoFloat),
          std::pair(kStandard, planarFloat(96000, 2)), std::pair(planarFloat(8000, 2), planarFloat(192000, 1))})
        checkContract({kAudioUnitType_FormatConverter, kAudioUnitSubType_AUConverter, 0, 0, 0}, [&](AudioUnit unit) {
            ASSERT_EQ(setFormat(unit, kAudioUnitScope_Input, formats.first), noErr);
            ASSERT_EQ(setFormat(unit, kAudioUnitScope_Output, formats.second), noErr);
        });
}

TEST(FormatConverter, UnrulyCallbacksDoNoHarm)
{
    static float ownMemory[4] = {1, 2, 3, 4};
    using Spoil = std::function<OSStatus(AudioBufferList &, AudioBuffer &)>;
    struct Row {
        const char *what;
        Spoil spoil;
        OSStatus status;
        std::vector<float> left = {0, 0, 0, 0};
    };
    constexpr OSStatus kBad = kAudioUnitErr_InvalidPropertyValue;
    for (const Row &row : std::vector<Row>{
             {"short", [](auto &, auto &buffer) { return buffer.mDataByteSize = 8, noErr; }, noErr, {1, 1, 0, 0}},
             {"own memory", [](auto &, auto &buffer) { return buffer.mData = ownMemory, noErr; }, noErr, {1, 2, 3, 4}},
             {"long", [](auto &, auto &buffer) { return buffer.mDataByteSize = 0xFFFFFFFF, noErr; }, kBad},
             {"no memory", [](auto &, auto &buffer) { return buffer.mData = nullptr, noErr; }, kBad},
             {"one buffer", [](auto &list, auto &) { return list.mNumberBuffers = 1, noErr; }, kBad},
             {"4000 buffers", [](auto &list, auto &) { return list.mNumberBuffers = 4000, noErr; }, kBad},
             {"status", [](auto &, auto &) { return kAudioFileReadError; }, kAudioFileReadError},
             {"exception", [](auto &, auto &) -> OSStatus { throw std::runtime_error("no"); },
              kAudioHardwareUnspecifiedError},
             {"no callback", {}, kAudioUnitErr_NoConnection},
         }) {
        SCOPED_TRACE(row.what);
        Callback callback([&](const AudioTimeStamp &, uint32_t, AudioBufferList &data) {
            for (uint32_t i = 0; i < 2; ++i)
                std::fill_n(static_cast<float *>((&data.mBuffers[0])[i].mData), 4, 1.0f);
            return row.spoil(data, data.mBuffers[0]);
        });
        const Converter unit;
        EXPECT_EQ(row.spoil ? callback.feed(unit) : noErr, noErr);
        EXPECT_EQ(AudioUnitInitialize(unit), noErr);
        const BufferList list(2, 1, 16);
        const auto *const left = reinterpret_cast<const float *>(list.data(0));
        EXPECT_EQ(AudioUnitRender(unit, nullptr, nullptr, 0, 4, list.get()), row.status);
        EXPECT_EQ(std::vector<float>(left, left + 4), row.left);
        EXPECT_EQ(list.get()->mBuffers[0].mData, left);
        EXPECT_EQ(list.get()->mBuffers[0].mDataByteSize, 16u);
    }
}

} // namespace
} // namespace kx::test
