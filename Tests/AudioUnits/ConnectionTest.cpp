#include "KXFW/Platform/AudioUnits/Unit.h"
#include "KXFW/Platform/AudioUnits/UnitRegistry.h"
#include "Tests/Support/UnitTesting.h"

#include <optional>
#include <thread>

namespace kx::test
{
namespace
{

TEST(Connections, FormatsFollowWhoeverIsBound)
{
    using Format = std::optional<AudioStreamBasicDescription>;
    constexpr auto kMono = planarFloat(48000, 1);
    struct Row {
        Format source; ///< set by hand, if at all
        Format destination;
        Format agreed; ///< none where the two do not fit
    };
    for (const Row &row : {Row{{}, {}, kStereoFloat}, Row{kMono, {}, kMono}, Row{{}, kMono, kMono},
                           Row{kMono, kStandard, {}}, Row{kStandard, kStandard, kStandard}}) {
        const Converter source;
        const Converter destination;
        if (row.source)
            setFormat(source, kAudioUnitScope_Output, *row.source);
        if (row.destination)
            setFormat(destination, kAudioUnitScope_Input, *row.destination);
        ASSERT_EQ(connect(source, destination), row.agreed ? noErr : kAudioUnitErr_FormatNotSupported);
        if (!row.agreed)
            continue;
        EXPECT_TRUE(sameFormat(format(source, kAudioUnitScope_Output), *row.agreed));
        EXPECT_TRUE(sameFormat(format(destination, kAudioUnitScope_Input), *row.agreed));
        const Output output; // its format is fixed: only a source that was not set by hand follows
        EXPECT_EQ(connect(source, output), row.source ? kAudioUnitErr_FormatNotSupported : noErr);
    }
}

TEST(Connections, CirclesAndFormatsThatNoLongerFitAreRefused)
{
    const Converter a;
    const Converter b;
    const Converter c;
    const Output output;
    SequenceSource feed;
    ASSERT_EQ(feed.feed(a), noErr);
    ASSERT_EQ(connect(a, b), noErr);
    ASSERT_EQ(connect(b, c), noErr);
    for (const AudioUnit source : {AudioUnit{c}, AudioUnit{a}, AudioUnit{output}})
        EXPECT_EQ(connect(source, a), kAudioUnitErr_InvalidPropertyValue);
    for (const auto &connection : {AudioUnitConnection{b, 1, 0}, AudioUnitConnection{b, 0, 1}})
        EXPECT_EQ(set(a, kAudioUnitProperty_MakeConnection, kAudioUnitScope_Input, connection),
                  kAudioUnitErr_InvalidElement);

    ASSERT_EQ(setFormat(a, kAudioUnitScope_Input, kStandard), noErr);
    for (const AudioUnit unit : {AudioUnit{a}, AudioUnit{b}})
        ASSERT_EQ(AudioUnitInitialize(unit), noErr);
    auto integers = kStereoFloat;
    integers.mFormatFlags ^= kAudioFormatFlagIsFloat | kAudioFormatFlagIsSignedInteger;
    ASSERT_EQ(setFormat(a, kAudioUnitScope_Output, integers), noErr);
    EXPECT_EQ(AudioUnitRender(b, nullptr, nullptr, 0, 4, BufferList(2, 1, 16).get()), kAudioUnitErr_FormatNotSupported);
    ASSERT_EQ(connect(a, b), noErr) << "it follows the new format";
    float left = 0;
    std::memcpy(&left, renderBytes(b, 1).data(), sizeof left);
    EXPECT_EQ(left, static_cast<float>(sampleAt(0)) / 32768.0f);
}

TEST(Connections, ADisposedSourceIsHeldUntilTheHolderLetsGo)
{
    Converter destination;
    SequenceSource feed;
    const std::function<void()> ways[] = {[&] { connect(Converter(), destination); },
                                          [&] { connect(nullptr, destination); }, [&] { feed.feed(destination); },
                                          [&] { destination.dispose(); }};
    for (const auto &letGo : ways) {
        std::weak_ptr<Unit> source;
        {
            const Converter passing;
            source = UnitRegistry::find(passing);
            ASSERT_EQ(connect(passing, destination), noErr);
        }
        EXPECT_FALSE(source.expired()) << "way " << &letGo - ways;
        letGo();
        EXPECT_TRUE(source.expired()) << "way " << &letGo - ways;
    }
}

TEST(Connections, AUnitEnteredFromItsOwnRenderRefuses)
{
    Converter inner;
    const Converter outer;
    std::vector<OSStatus> seen;
    Callback callback([&](const AudioTimeStamp &, uint32_t, AudioBufferList &data) {
        const BufferList list(2, 1, 16);
        seen = {AudioUnitRender(inner, nullptr, nullptr, 0, 4, list.get()),
                AudioUnitRender(outer, nullptr, nullptr, 0, 4, list.get()),
                AudioUnitInitialize(inner),
                AudioUnitUninitialize(outer),
                AudioUnitReset(inner, kAudioUnitScope_Global, 0),
                setFormat(outer, kAudioUnitScope_Output, kStandard),
                connect(nullptr, outer)};
        EXPECT_TRUE(sameFormat(format(inner, kAudioUnitScope_Output), kStereoFloat)) << "reading waits for nothing";
        EXPECT_EQ(inner.dispose(), noErr) << "it ends after the slice";
        silence(data);
        return noErr;
    });
    ASSERT_EQ(callback.feed(inner), noErr);
    ASSERT_EQ(AudioUnitInitialize(inner), noErr);
    ASSERT_EQ(connect(inner, outer), noErr);
    ASSERT_EQ(AudioUnitInitialize(outer), noErr);
    const std::weak_ptr<Unit> watched = UnitRegistry::find(inner);
    renderBytes(outer, 4);
    EXPECT_EQ(seen, std::vector<OSStatus>(7, kAudioUnitErr_CannotDoInCurrentContext));
    ASSERT_EQ(connect(nullptr, outer), noErr);
    EXPECT_TRUE(watched.expired());
}

/// One thread renders, others change everything that may change, and dispose of the source in the end.
TEST(Connections, ChangesMeetRendersInOrder)
{
    const Converter destination;
    ASSERT_EQ(AudioUnitInitialize(destination), noErr);
    SequenceSource feed;
    std::atomic<bool> done{false};
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
        for (uint32_t i = 0; i < 300; ++i)
            for (const OSStatus status :
                 {set(destination, kAudioUnitProperty_MaximumFramesPerSlice, kAudioUnitScope_Global, 4096 + i),
                  AudioUnitReset(destination, kAudioUnitScope_Global, 0), AudioUnitUninitialize(destination),
                  AudioUnitInitialize(destination)})
                EXPECT_EQ(status, noErr);
    });
    for (int i = 0; i < 100; ++i) {
        const Converter source(kStandard, kStereoFloat);
        for (const OSStatus status :
             {feed.feed(source), AudioUnitInitialize(source), connect(source, destination),
              AudioUnitUninitialize(source), setFormat(source, kAudioUnitScope_Input, i % 2 ? kStandard : kNative16),
              AudioUnitInitialize(source)})
            EXPECT_EQ(status, noErr);
    }
    changer.join();
    done = true;
    renderer.join();
}

} // namespace
} // namespace kx::test
