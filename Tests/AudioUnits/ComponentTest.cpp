#include "KXFW/Platform/AudioUnits/UnitRegistry.h"
#include "Tests/Support/UnitTesting.h"

#include <cmath>
#include <set>

namespace kx::test
{
namespace
{

TEST(Components, SearchFindsInOrderAndEnds)
{
    const AudioComponentDescription any{};
    std::set<AudioComponent> found;
    for (auto at = AudioComponentFindNext(nullptr, &any); at; at = AudioComponentFindNext(at, &any))
        EXPECT_TRUE(found.insert(at).second);
    EXPECT_EQ(found.size(), 3u);
    const AudioComponentDescription plain{kAudioUnitType_FormatConverter, kAudioUnitSubType_AUConverter, 0, 0, 0};
    const auto first = AudioComponentFindNext(nullptr, &plain);
    EXPECT_TRUE(found.contains(first));
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
    const Converter converter;
    const Output output;
    struct Row {
        AudioUnit unit;
        AudioUnitPropertyID property;
        AudioUnitScope scope;
        AudioUnitElement element;
        OSStatus set;
        OSStatus get;
    };
    for (const auto &[unit, property, scope, element, set, get] :
         {Row{converter, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Input, 0, kSize, kSize},
          {converter, kAudioUnitProperty_StreamFormat, 77, 0, kScope, kScope},
          {converter, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output, 1, kElement, kElement},
          {converter, kAudioUnitProperty_Latency, kAudioUnitScope_Global, 0, kReadOnly, kSize},
          {converter, kAudioUnitProperty_MakeConnection, kAudioUnitScope_Input, 0, kSize, kNone},
          {converter, kAudioOutputUnitProperty_IsRunning, kAudioUnitScope_Global, 0, kNone, kNone},
          {output, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output, 0, kScope, kScope},
          {output, kAudioOutputUnitProperty_CurrentDevice, kAudioUnitScope_Global, 0, kSize, kSize},
          {output, kAudioOutputUnitProperty_Underruns, kAudioUnitScope_Global, 0, kReadOnly, kSize}}) {
        SCOPED_TRACE(testing::Message() << "property " << property << ", scope " << scope);
        char data[64] = {};
        for (const uint32_t size : {0u, 3u, 63u, 0xFFFFFFFFu})
            EXPECT_EQ(AudioUnitSetProperty(unit, property, scope, element, data, size), set) << size;
        EXPECT_EQ(AudioUnitSetProperty(unit, property, scope, element, nullptr, 4), set);
        for (uint32_t room : {3u, 64u})
            EXPECT_EQ(AudioUnitGetProperty(unit, property, scope, element, room < 4 ? data : nullptr, &room), get);
    }
}

TEST(Properties, BadValuesChangeNothing)
{
    const Converter unit(kStandard, kStereoFloat);
    const Output output;
    auto bad = kStandard;
    bad.mChannelsPerFrame = 0xFFFFFFFF;
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(setFormat(unit, kAudioUnitScope_Input, bad), kAudioUnitErr_FormatNotSupported);
        for (const double rate : {0.0, -44100.0, 1e300, std::nan("")})
            EXPECT_EQ(set(unit, kAudioUnitProperty_SampleRate, kAudioUnitScope_Input, rate),
                      kAudioUnitErr_FormatNotSupported);
        for (const uint32_t frames : {0u, 65537u})
            EXPECT_EQ(set(unit, kAudioUnitProperty_MaximumFramesPerSlice, kAudioUnitScope_Global, frames),
                      kAudioUnitErr_InvalidPropertyValue);
        EXPECT_TRUE(sameFormat(format(unit, kAudioUnitScope_Input), kStandard));
        EXPECT_EQ(get<uint32_t>(unit, kAudioUnitProperty_MaximumFramesPerSlice, kAudioUnitScope_Global), 4096u);
        ASSERT_EQ(AudioUnitInitialize(unit), noErr); // the same again
    }
    EXPECT_EQ(setFormat(output, kAudioUnitScope_Input, kStandard), kAudioUnitErr_FormatNotSupported) << "it is fixed";
    EXPECT_EQ(AudioUnitReset(unit, 3, 0), kAudioUnitErr_InvalidScope);
    EXPECT_EQ(AudioUnitRender(output, nullptr, nullptr, 0, 1, BufferList(2, 1, 64).get()),
              kAudioUnitErr_InvalidElement);
}

} // namespace
} // namespace kx::test
