#include "KXFW/Platform/AudioUnits/UnitRegistry.h"
#include "Tests/Support/UnitTesting.h"

#include <array>
#include <cmath>
#include <limits>

namespace kx::test
{
namespace
{

TEST(Components, SearchFindsInOrderAndEnds)
{
    const AudioComponentDescription plain{kAudioUnitType_FormatConverter, kAudioUnitSubType_AUConverter, 0, 0, 0};
    const auto first = AudioComponentFindNext(nullptr, &plain);
    EXPECT_NE(first, nullptr);
    EXPECT_EQ(AudioComponentFindNext(first, &plain), nullptr);
    const AudioComponentDescription any{};
    int count = 0;
    for (auto at = AudioComponentFindNext(nullptr, &any); at; at = AudioComponentFindNext(at, &any))
        ++count;
    EXPECT_GE(count, 2);
    EXPECT_EQ(AudioComponentFindNext(nullptr, nullptr), nullptr);
    AudioUnit unit = reinterpret_cast<AudioUnit>(&unit);
    for (const auto none : {AudioComponent{}, reinterpret_cast<AudioComponent>(&unit)})
        EXPECT_EQ(AudioComponentInstanceNew(none, &unit), kAudioComponentErr_InstanceInvalidated);
    EXPECT_EQ(unit, nullptr);
    EXPECT_EQ(AudioComponentInstanceNew(first, nullptr), kAudioUnitErr_InvalidPropertyValue);
}

/// Every call with a handle that names no living unit.
std::vector<OSStatus> callAll(AudioUnit unit)
{
    uint32_t value = 0;
    uint32_t size = sizeof value;
    float gain = 0;
    const BufferList list(2, 1, 64);
    constexpr auto kProperty = kAudioUnitProperty_MaximumFramesPerSlice;
    return {
        AudioUnitInitialize(unit),
        AudioUnitUninitialize(unit),
        AudioUnitSetProperty(unit, kProperty, kAudioUnitScope_Global, 0, &value, size),
        AudioUnitGetProperty(unit, kProperty, kAudioUnitScope_Global, 0, &value, &size),
        AudioUnitSetParameter(unit, kHALOutputParam_Volume, kAudioUnitScope_Global, 0, 1, 0),
        AudioUnitGetParameter(unit, kHALOutputParam_Volume, kAudioUnitScope_Global, 0, &gain),
        AudioUnitReset(unit, kAudioUnitScope_Global, 0),
        AudioUnitRender(unit, nullptr, nullptr, 0, 1, list.get()),
        AudioOutputUnitStart(unit),
        AudioOutputUnitStop(unit),
        AudioOutputUnitSettle(unit),
        AudioComponentInstanceDispose(unit),
    };
}

TEST(Components, StaleHandlesAreNeverFollowed)
{
    for (const FourCharCode type : {kAudioUnitType_FormatConverter, kAudioUnitType_Output}) {
        OwnedUnit unit(type);
        const AudioUnit stale = unit;
        ASSERT_EQ(unit.dispose(), noErr);
        const OwnedUnit later(type); // no later unit takes the number
        for (const AudioUnit handle : {stale, AudioUnit{}, reinterpret_cast<AudioUnit>(&unit)})
            for (const OSStatus status : callAll(handle))
                EXPECT_EQ(status, kAudioComponentErr_InstanceInvalidated);
        EXPECT_EQ(connect(stale, later), kAudioComponentErr_InstanceInvalidated);
    }
}

struct Access {
    AudioUnitPropertyID property;
    AudioUnitScope scope;
    AudioUnitElement element;
    OSStatus set;
    OSStatus get;
};

void expectAccess(AudioUnit unit, const Access &row)
{
    SCOPED_TRACE(testing::Message() << "property " << row.property << ", scope " << row.scope);
    std::array<std::byte, 64> data{};
    for (const uint32_t size : {0u, 1u, 3u, 63u, std::numeric_limits<uint32_t>::max()})
        EXPECT_EQ(AudioUnitSetProperty(unit, row.property, row.scope, row.element, data.data(), size), row.set) << size;
    EXPECT_EQ(AudioUnitSetProperty(unit, row.property, row.scope, row.element, nullptr, 4), row.set);
    for (uint32_t room : {0u, 1u, 3u})
        EXPECT_EQ(AudioUnitGetProperty(unit, row.property, row.scope, row.element, data.data(), &room), row.get);
    uint32_t room = 64;
    EXPECT_EQ(AudioUnitGetProperty(unit, row.property, row.scope, row.element, nullptr, &room), row.get);
    EXPECT_EQ(AudioUnitGetProperty(unit, row.property, row.scope, row.element, data.data(), nullptr), row.get);
}

TEST(Properties, SizesScopesAndElementsAreChecked)
{
    constexpr OSStatus kSize = kAudioUnitErr_InvalidPropertyValue;
    constexpr OSStatus kNone = kAudioUnitErr_InvalidProperty;
    constexpr OSStatus kScope = kAudioUnitErr_InvalidScope;
    constexpr OSStatus kElement = kAudioUnitErr_InvalidElement;
    constexpr OSStatus kReadOnly = kAudioUnitErr_PropertyNotWritable;
    const Converter converter;
    for (const Access &row : std::to_array<Access>({
             {kAudioUnitProperty_StreamFormat, kAudioUnitScope_Input, 0, kSize, kSize},
             {kAudioUnitProperty_StreamFormat, 77, 0, kScope, kScope},
             {kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output, 1, kElement, kElement},
             {kAudioUnitProperty_SampleRate, kAudioUnitScope_Output, 0, kSize, kSize},
             {kAudioUnitProperty_MaximumFramesPerSlice, kAudioUnitScope_Global, 0, kSize, kSize},
             {kAudioUnitProperty_Latency, kAudioUnitScope_Global, 0, kReadOnly, kSize},
             {kAudioUnitProperty_MakeConnection, kAudioUnitScope_Input, 0, kSize, kNone},
             {kAudioUnitProperty_SetRenderCallback, kAudioUnitScope_Input, 7, kElement, kElement},
             {kAudioOutputUnitProperty_IsRunning, kAudioUnitScope_Global, 0, kNone, kNone},
             {0xFFFFFFFF, kAudioUnitScope_Global, 0, kNone, kNone},
         }))
        expectAccess(converter, row);
    const Output output;
    for (const Access &row : std::to_array<Access>({
             {kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output, 0, kScope, kScope},
             {kAudioOutputUnitProperty_CurrentDevice, kAudioUnitScope_Global, 0, kSize, kSize},
             {kAudioOutputUnitProperty_IsRunning, kAudioUnitScope_Global, 0, kReadOnly, kSize},
             {kAudioOutputUnitProperty_Underruns, kAudioUnitScope_Global, 0, kReadOnly, kSize},
         }))
        expectAccess(output, row);
}

TEST(Properties, BadValuesChangeNothing)
{
    const Converter unit;
    EXPECT_TRUE(sameFormat(format(unit, kAudioUnitScope_Output), kStereoFloat)) << "until another is set";
    ASSERT_EQ(setFormat(unit, kAudioUnitScope_Input, kStandard), noErr);
    ASSERT_EQ(AudioUnitInitialize(unit), noErr);
    auto bad = kStandard;
    bad.mChannelsPerFrame = 0xFFFFFFFF;
    EXPECT_EQ(setFormat(unit, kAudioUnitScope_Input, bad), kAudioUnitErr_FormatNotSupported);
    for (const double rate : {0.0, -44100.0, 1e300, std::nan("")})
        EXPECT_EQ(set(unit, kAudioUnitProperty_SampleRate, kAudioUnitScope_Input, rate),
                  kAudioUnitErr_FormatNotSupported);
    for (const uint32_t frames : {0u, 65537u, 0xFFFFFFFFu})
        EXPECT_EQ(set(unit, kAudioUnitProperty_MaximumFramesPerSlice, kAudioUnitScope_Global, frames),
                  kAudioUnitErr_InvalidPropertyValue);
    EXPECT_TRUE(sameFormat(format(unit, kAudioUnitScope_Input), kStandard));
    EXPECT_EQ(get<uint32_t>(unit, kAudioUnitProperty_MaximumFramesPerSlice, kAudioUnitScope_Global), 4096u);
    SequenceSource source;
    ASSERT_EQ(source.feed(unit), noErr);
    renderBytes(unit, 64);
}

} // namespace
} // namespace kx::test
