#include "KXFW/Platform/AudioUnits/Unit.h"
#include "KXFW/Platform/AudioUnits/UnitRegistry.h"
#include "Tests/Support/UnitTesting.h"

#include <thread>

namespace kx::test
{
namespace
{

std::weak_ptr<Unit> watch(AudioUnit unit)
{
    return UnitRegistry::find(unit);
}

TEST(Connections, FormatsFollowWhoeverIsBound)
{
    constexpr auto kMono = planarFloat(48000, 1);
    const Output output;
    {
        const Converter source; // follows what is fixed
        ASSERT_EQ(connect(source, output), noErr);
        EXPECT_TRUE(sameFormat(format(source, kAudioUnitScope_Output), kStereoFloat));
    }
    {
        const Converter source; // set by hand, against what is fixed
        ASSERT_EQ(setFormat(source, kAudioUnitScope_Output, kMono), noErr);
        EXPECT_EQ(connect(source, output), kAudioUnitErr_FormatNotSupported);
    }
    {
        const Converter source; // the source is set, the destination free
        const Converter destination;
        ASSERT_EQ(setFormat(source, kAudioUnitScope_Output, kMono), noErr);
        ASSERT_EQ(connect(source, destination), noErr);
        EXPECT_TRUE(sameFormat(format(destination, kAudioUnitScope_Input), kMono));
    }
    {
        const Converter source; // the destination is set, the source free; then the same source goes elsewhere
        const Converter destination;
        ASSERT_EQ(setFormat(destination, kAudioUnitScope_Input, kMono), noErr);
        ASSERT_EQ(connect(source, destination), noErr);
        EXPECT_TRUE(sameFormat(format(source, kAudioUnitScope_Output), kMono));
        ASSERT_EQ(connect(source, output), noErr);
        EXPECT_TRUE(sameFormat(format(source, kAudioUnitScope_Output), kStereoFloat));
    }
    {
        const Converter source; // both are set, and differ
        const Converter destination;
        ASSERT_EQ(setFormat(source, kAudioUnitScope_Output, kMono), noErr);
        ASSERT_EQ(setFormat(destination, kAudioUnitScope_Input, kStandard), noErr);
        EXPECT_EQ(connect(source, destination), kAudioUnitErr_FormatNotSupported);
    }
}

TEST(Connections, AFormatThatNoLongerFitsIsNeverReadWrongly)
{
    const Converter source;
    const Converter destination;
    SequenceSource feed;
    ASSERT_EQ(setFormat(source, kAudioUnitScope_Input, kStandard), noErr);
    ASSERT_EQ(feed.feed(source), noErr);
    ASSERT_EQ(connect(source, destination), noErr);
    ASSERT_EQ(AudioUnitInitialize(source), noErr);
    ASSERT_EQ(AudioUnitInitialize(destination), noErr);
    EXPECT_EQ(renderLeft(destination, {1})[0], static_cast<float>(sampleAt(0)) / 32768.0f);

    auto integers = planarFloat(44100, 2);
    integers.mFormatFlags ^= kAudioFormatFlagIsFloat | kAudioFormatFlagIsSignedInteger;
    ASSERT_EQ(setFormat(source, kAudioUnitScope_Output, integers), noErr);
    const BufferList list(2, 1, 16);
    EXPECT_EQ(AudioUnitRender(destination, nullptr, nullptr, 0, 4, list.get()), kAudioUnitErr_FormatNotSupported);
    ASSERT_EQ(connect(source, destination), noErr) << "the destination follows the new format";
    EXPECT_EQ(renderLeft(destination, {1})[0], static_cast<float>(sampleAt(2)) / 32768.0f);
}

TEST(Connections, CirclesAndNonsenseAreRefused)
{
    const Converter a;
    const Converter b;
    const Converter c;
    const Output output;
    ASSERT_EQ(connect(a, b), noErr);
    ASSERT_EQ(connect(b, c), noErr);
    EXPECT_EQ(connect(c, a), kAudioUnitErr_InvalidPropertyValue);
    EXPECT_EQ(connect(a, a), kAudioUnitErr_InvalidPropertyValue);
    EXPECT_EQ(connect(output, a), kAudioUnitErr_InvalidPropertyValue) << "an output unit is the end";
    EXPECT_EQ(set(a, kAudioUnitProperty_MakeConnection, kAudioUnitScope_Input, AudioUnitConnection{b, 1, 0}),
              kAudioUnitErr_InvalidElement);
    EXPECT_EQ(set(a, kAudioUnitProperty_MakeConnection, kAudioUnitScope_Input, AudioUnitConnection{b, 0, 1}),
              kAudioUnitErr_InvalidElement);
}

TEST(Connections, ADisposedSourceIsHeldUntilTheHolderLetsGo)
{
    const Converter destination;
    ASSERT_EQ(AudioUnitInitialize(destination), noErr);
    const auto connectAndDispose = [&] {
        Converter source;
        auto watched = watch(source);
        EXPECT_EQ(connect(source, destination), noErr);
        source.dispose();
        return watched;
    };
    const auto first = connectAndDispose();
    EXPECT_FALSE(first.expired());
    const auto second = connectAndDispose();
    EXPECT_TRUE(first.expired()) << "replaced by a connection";
    ASSERT_EQ(connect(nullptr, destination), noErr);
    EXPECT_TRUE(second.expired()) << "disconnected";
    const auto third = connectAndDispose();
    SequenceSource feed;
    ASSERT_EQ(feed.feed(destination), noErr);
    EXPECT_TRUE(third.expired()) << "replaced by a callback";

    std::weak_ptr<Unit> last;
    {
        const Converter holder;
        Converter source;
        last = watch(source);
        ASSERT_EQ(connect(source, holder), noErr);
    }
    EXPECT_TRUE(last.expired()) << "the holder was disposed of";
}

TEST(Connections, AUnitEnteredFromItsOwnRenderRefuses)
{
    const Converter inner;
    const Converter outer;
    std::vector<OSStatus> seen;
    float volume = 0;
    Callback callback([&](const AudioTimeStamp &, uint32_t frames, AudioBufferList &data) {
        const BufferList list(2, 1, 16);
        seen = {AudioUnitRender(inner, nullptr, nullptr, 0, 4, list.get()),
                AudioUnitRender(outer, nullptr, nullptr, 0, 4, list.get()),
                AudioUnitInitialize(inner),
                AudioUnitUninitialize(outer),
                AudioUnitReset(inner, kAudioUnitScope_Global, 0),
                setFormat(outer, kAudioUnitScope_Output, kStandard),
                connect(nullptr, outer)};
        EXPECT_TRUE(sameFormat(format(inner, kAudioUnitScope_Output), kStereoFloat)) << "reading waits for nothing";
        volume = static_cast<float>(frames);
        silence(data);
        return noErr;
    });
    ASSERT_EQ(callback.feed(inner), noErr);
    ASSERT_EQ(connect(inner, outer), noErr);
    ASSERT_EQ(AudioUnitInitialize(inner), noErr);
    ASSERT_EQ(AudioUnitInitialize(outer), noErr);
    renderBytes(outer, 4);
    EXPECT_EQ(volume, 4);
    EXPECT_EQ(seen, std::vector<OSStatus>(7, kAudioUnitErr_CannotDoInCurrentContext));
}

TEST(Connections, DisposingInsideTheOwnCallbackEndsAfterTheSlice)
{
    Converter unit;
    Callback callback([&](const AudioTimeStamp &, uint32_t frames, AudioBufferList &data) {
        writeFrames(0, frames, true, data.mBuffers[0].mData);
        EXPECT_EQ(unit.dispose(), noErr);
        return noErr;
    });
    ASSERT_EQ(setFormat(unit, kAudioUnitScope_Input, kStandard), noErr);
    ASSERT_EQ(callback.feed(unit), noErr);
    ASSERT_EQ(AudioUnitInitialize(unit), noErr);
    const auto watched = watch(unit);
    EXPECT_EQ(AudioUnitRender(unit, nullptr, nullptr, 0, 1, BufferList(2, 1, 4).get()), noErr);
    EXPECT_TRUE(watched.expired());
}

/// One thread renders, others change everything that may change, and dispose of the source in the end.
TEST(Connections, ChangesMeetRendersInOrder)
{
    const Converter destination;
    SequenceSource feed;
    std::atomic<bool> done{false};
    auto source = std::make_unique<Converter>();
    const auto build = [&] {
        ASSERT_EQ(setFormat(*source, kAudioUnitScope_Input, kStandard), noErr);
        ASSERT_EQ(feed.feed(*source), noErr);
        ASSERT_EQ(AudioUnitInitialize(*source), noErr);
        ASSERT_EQ(connect(*source, destination), noErr);
    };
    build();
    ASSERT_EQ(AudioUnitInitialize(destination), noErr);
    std::thread renderer([&] {
        BufferList list(2, 1, 4096 * 4);
        for (uint32_t i = 0; !done; i = (i + 331) % 4096) {
            list.rewind(4096 * 4);
            const OSStatus status = AudioUnitRender(destination, nullptr, nullptr, 0, i, list.get());
            EXPECT_TRUE(status == noErr || status == kAudioUnitErr_NoConnection ||
                        status == kAudioUnitErr_Uninitialized)
                << status;
        }
    });
    std::thread changer([&] {
        for (uint32_t i = 0; i < 300; ++i) {
            EXPECT_EQ(set(destination, kAudioUnitProperty_MaximumFramesPerSlice, kAudioUnitScope_Global, 4096 + i),
                      noErr);
            EXPECT_EQ(AudioUnitReset(destination, kAudioUnitScope_Global, 0), noErr);
            EXPECT_EQ(AudioUnitUninitialize(destination), noErr);
            EXPECT_EQ(AudioUnitInitialize(destination), noErr);
        }
    });
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(AudioUnitUninitialize(*source), noErr);
        EXPECT_EQ(setFormat(*source, kAudioUnitScope_Input, i % 2 ? kStandard : kNative16), noErr);
        EXPECT_EQ(AudioUnitInitialize(*source), noErr);
        source = std::make_unique<Converter>();
        build();
    }
    changer.join();
    done = true;
    renderer.join();
}

} // namespace
} // namespace kx::test
