#include "KXFW/Platform/AudioUnits/UnitRegistry.h"
#include "Tests/Support/UnitTesting.h"

#include <algorithm>
#include <cmath>

namespace kx::test
{
namespace
{

TEST(Components, SearchFindsInOrderAndEnds)
{
    const AudioComponentDescription any{};
    std::vector<AudioComponent> found;
    for (auto at = AudioComponentFindNext(nullptr, &any); at; at = AudioComponentFindNext(at, &any))
        found.push_back(at);
    ASSERT_EQ(found.size(), 3u);
    const AudioComponentDescription plain{kAudioUnitType_FormatConverter, kAudioUnitSubType_AUConverter, 0, 0, 0};
    const auto first = AudioComponentFindNext(nullptr, &plain);
    EXPECT_EQ(std::count(found.begin(), found.end(), first), 1);
    EXPECT_EQ(AudioComponentFindNext(first, &plain), nullptr);
    AudioUnit unit = nullptr;
    EXPECT_EQ(AudioComponentInstanceNew(reinterpret_cast<AudioComponent>(&unit), &unit),
              kAudioComponentErr_InstanceInvalidated);
}

TEST(Components, StaleHandlesAreNeverFollowed)
{
    uint32_t value = 0;
    uint32_t size = sizeof value;
    float gain = 0;
    constexpr auto kProperty = kAudioUnitProperty_MaximumFramesPerSlice;
    constexpr auto kGlobal = kAudioUnitScope_Global;
    for (const FourCharCode type : {kAudioUnitType_FormatConverter, kAudioUnitType_Output}) {
        OwnedUnit unit(type);
        const AudioUnit stale = unit;
        ASSERT_EQ(unit.dispose(), noErr);
        const OwnedUnit later(type); // no later unit takes the number
        EXPECT_EQ(connect(stale, later), kAudioComponentErr_InstanceInvalidated);
        for (const AudioUnit handle : {stale, AudioUnit{}, reinterpret_cast<AudioUnit>(&unit)})
            for (const OSStatus status :
                 {AudioUnitInitialize(handle), AudioUnitUninitialize(handle),
                  AudioUnitSetProperty(handle, kProperty, kGlobal, 0, &value, size),
                  AudioUnitGetProperty(handle, kProperty, kGlobal, 0, &value, &size),
                  AudioUnitSetParameter(handle, kHALOutputParam_Volume, kGlobal, 0, 1, 0),
                  AudioUnitGetParameter(handle, kHALOutputParam_Volume, kGlobal, 0, &gain),
                  AudioUnitReset(handle, kGlobal, 0), AudioOutputUnitStart(handle), AudioOutputUnitStop(handle),
                  AudioUnitRender(handle, nullptr, nullptr, 0, 1, BufferList(2, 1, 64).get()),
                  AudioOutputUnitSettle(handle), AudioComponentInstanceDispose(handle)})
                EXPECT_EQ(status, kAudioComponentErr_InstanceInvalidated);
    }
}

TEST(Properties, SizesScopesAndElementsAreChecked)
{
    constexpr OSStatus kSize = kAudioUnitErr_InvalidPropertyValue;
    constexpr OSStatus kNone = kAudioUnitErr_InvalidProperty;
    constexpr OSStatus kScope = kAudioUnitErr_InvalidScope;
    constexpr OSStatus kElement = kAudioUnitErr_InvalidElement;
    constexpr OSStatus kReadOnly = kAudioUnitErr_PropertyNotWritable;
    struct Row {
        AudioUnitPropertyID property;
        AudioUnitScope scope;
        AudioUnitElement element;
        OSStatus set;
        OSStatus get;
    };
    const Converter converter;
    const Output output;
    const std::pair<AudioUnit, Row> rows[] = {
        {converter, {kAudioUnitProperty_StreamFormat, kAudioUnitScope_Input, 0, kSize, kSize}},
        {converter, {kAudioUnitProperty_StreamFormat, 77, 0, kScope, kScope}},
        {converter, {kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output, 1, kElement, kElement}},
        {converter, {kAudioUnitProperty_Latency, kAudioUnitScope_Global, 0, kReadOnly, kSize}},
        {converter, {kAudioUnitProperty_MakeConnection, kAudioUnitScope_Input, 0, kSize, kNone}},
        {converter, {kAudioOutputUnitProperty_IsRunning, kAudioUnitScope_Global, 0, kNone, kNone}},
        {output, {kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output, 0, kScope, kScope}},
        {output, {kAudioOutputUnitProperty_CurrentDevice, kAudioUnitScope_Global, 0, kSize, kSize}},
        {output, {kAudioOutputUnitProperty_Underruns, kAudioUnitScope_Global, 0, kReadOnly, kSize}},
    };
    for (const auto &[unit, row] : rows) {
        SCOPED_TRACE(testing::Message() << "property " << row.property << ", scope " << row.scope);
        char data[64] = {};
        for (const uint32_t size : {0u, 3u, 63u, 0xFFFFFFFFu})
            EXPECT_EQ(AudioUnitSetProperty(unit, row.property, row.scope, row.element, data, size), row.set) << size;
        EXPECT_EQ(AudioUnitSetProperty(unit, row.property, row.scope, row.element, nullptr, 4), row.set);
        for (uint32_t room : {3u, 64u})
            EXPECT_EQ(
                AudioUnitGetProperty(unit, row.property, row.scope, row.element, room < 4 ? data : nullptr, &room),
                row.get);
    }
}

TEST(Properties, BadValuesChangeNothing)
{
    const Converter unit;
    ASSERT_EQ(setFormat(unit, kAudioUnitScope_Input, kStandard), noErr);
    ASSERT_EQ(AudioUnitInitialize(unit), noErr);
    auto bad = kStandard;
    bad.mChannelsPerFrame = 0xFFFFFFFF;
    EXPECT_EQ(setFormat(unit, kAudioUnitScope_Input, bad), kAudioUnitErr_FormatNotSupported);
    for (const double rate : {0.0, -44100.0, 1e300, std::nan("")})
        EXPECT_EQ(set(unit, kAudioUnitProperty_SampleRate, kAudioUnitScope_Input, rate),
                  kAudioUnitErr_FormatNotSupported);
    for (const uint32_t frames : {0u, 65537u})
        EXPECT_EQ(set(unit, kAudioUnitProperty_MaximumFramesPerSlice, kAudioUnitScope_Global, frames),
                  kAudioUnitErr_InvalidPropertyValue);
    EXPECT_TRUE(sameFormat(format(unit, kAudioUnitScope_Input), kStandard));
    EXPECT_EQ(get<uint32_t>(unit, kAudioUnitProperty_MaximumFramesPerSlice, kAudioUnitScope_Global), 4096u);
}

} // namespace
} // namespace kx::test
