// Playing and exporting through an effect that looks ahead, and the frame that is heard meanwhile.
#include "KXFW/Audio/KXAHardwareManager.h"
#include "KXFW/Audio/KXAudioUtil.h"
#include "KXFW/Platform/AudioUnits/AVAudioUnitTimePitch.h"
#include "Tests/Audio/PlayerFixture.h"
#include "Tests/Support/CapturedLog.h"
#include "Tests/Support/RenderGuard.h"
#include "Tests/Support/TestEffects.h"
#include "kx/TimePitch.h"

#include <cmath>

namespace kx::test
{
namespace
{

constexpr int64_t kLookAhead = 7000;

class PlayerEffectTest : public PlayerTest
{
protected:
    PlayerEffectTest()
    {
        load({.frames = 60000});
        player->setEffect(effect.audioUnit());
        player->setEffectMode(KXAEffectModeAU);
    }

    void turnTo(float rate, float cents = 0)
    {
        ASSERT_EQ(effect.setRate(rate), noErr);
        ASSERT_EQ(effect.setPitch(cents), noErr);
    }

    /// The effect looks ahead from here on, but plays the source as it is.
    void lookAhead()
    {
        turnTo(0.5F);
        advance(2000);
        turnTo(1);
        advance(3000);
    }

    /// The frames of an export of the range.
    std::vector<int64_t> exported(const KXAExportOptions &options = {})
    {
        const auto url = temporaryPath("effect.aiff");
        EXPECT_TRUE(exportRange(
                        player, url, [] { return false; }, options)
                        .completed);
        return indicesOf(url);
    }

    /// The export of a range makes `frames` frames, up to whole slices or not, and is what is played.
    void expectWhatIsPlayed(int64_t start, int64_t end, double frames)
    {
        SCOPED_TRACE(testing::Message() << start << " to " << end);
        player->setOffsetFramesPlay(0, start, end);
        player->prepareForExport();
        const auto written = exported();
        ASSERT_EQ(static_cast<double>(written.size()), std::ceil(frames / 512) * 512);
        player->setLoop(false);
        player->setPositionInFrame(start);
        heard();
        player->play();
        auto played = advance(static_cast<uint32_t>(written.size()));
        player->stop();
        played.resize(std::max(written.size(), played.size())); // an end of the data has stopped it
        EXPECT_TRUE(std::equal(written.begin(), written.end(), played.begin()));

        const auto exact = exported({.fromRangeStart = true, .exactFrames = true});
        ASSERT_EQ(static_cast<double>(exact.size()), frames);
        player->setPlaysRangeOnce(true);
        player->setPositionInFrame(start);
        heard();
        const auto once = playOut();
        player->setPlaysRangeOnce(false);
        ASSERT_GE(once.size(), exact.size());
        EXPECT_TRUE(std::equal(exact.begin(), exact.end(), once.begin()));
        player->setLoop(true);
    }

    AVAudioUnitTimePitch effect;
};

/// Whatever rate the frames of the file are taken to have, and whatever the effect is set to.
TEST_F(PlayerEffectTest, AnExportIsExactAtEveryInputRate)
{
    for (const auto &[inputRate, rate, cents] : {std::tuple(44100, 0.25F, -1200.0F),
                                                 {44100, 4, 1200},
                                                 {44100, 1, 300},
                                                 {8000, 0.7F, 200},
                                                 {11025, 2, 0},
                                                 {22050, 0.7F, 200},
                                                 {32000, 1.25F, -700},
                                                 {48000, 0.5F, 0},
                                                 {96000, 0.7F, 200}}) {
        auto format = GetStandardDescription();
        format.mSampleRate = inputRate;
        player->setInputDescription(format);
        turnTo(rate, cents);
        for (const uint64_t mode : {KXAEffectModeNone, KXAEffectModeAU}) {
            SCOPED_TRACE(testing::Message() << inputRate << " Hz, " << mode << ": " << rate << ", " << cents);
            player->setEffectMode(mode);
            for (const int64_t frames : {1, 512, 513, 5003}) { // at 22,050 Hz 512 are two slices to the frame
                const double converted = std::ceil(static_cast<double>(frames) * 44100 / inputRate);
                const double sounding = mode == KXAEffectModeNone ? converted : std::ceil(converted / rate);
                expectWhatIsPlayed(1000, 1000 + frames, sounding);
                expectWhatIsPlayed(60000 - frames, 60000, sounding); // to the end of the data
            }
        }
    }
    player->setInputDescription(GetStandardDescription());
    turnTo(0.5F);
    player->setOffsetFramesPlay(50000, 50000, 90000);
    CapturedLog log;
    EXPECT_EQ(exported().size(), 40U * 512U) << "an end beyond the data";
    EXPECT_EQ(log.messages(), std::vector<std::string>{"no frames read"});
}

TEST_F(PlayerEffectTest, AJumpAndAnotherFileAreHeardAtOnce)
{
    load(indexed(400'000));
    constexpr std::size_t kFade = 1024;
    const auto expectFrom = [&](int64_t frame) {
        const auto frames = advance(4000);
        expectPasses({frames.begin() + kFade, frames.end()}, 4000 - kFade, frame + kFade, 0, 400'000);
        EXPECT_EQ(player->heardFrame().frame, frame + 4000);
    };
    player->play();
    lookAhead();
    for (const int64_t frame : {200'000, 5}) {
        player->setPositionInFrame(frame);
        expectFrom(frame);
    }
    player->setPositionInFrame(player->frameOffset()); // where it is already
    expectFrom(player->frameOffset());
    player->stop();
    EXPECT_EQ(player->heardFrame().frame, 5 + 4000 + kLookAhead + 4000) << "not the jump";
    player->play();
    lookAhead();
    load(indexed(390'000));
    expectFrom(0);
    player->setPositionInFrame(300'000);
    player->stop();
    player->setStartOffsetInFrame(300'000);
    player->setEndOffsetInFrame(301'024);
    EXPECT_EQ(exported().size(), 1024U) << "what a jump has let go is no part of an export";
}

TEST_F(PlayerEffectTest, KnowsTheFrameThatIsHeardWhateverComesBetween)
{
    player->setOffsetFramesPlay(20000, 10000, 30000);
    EXPECT_EQ(player->heardFrame().frame, 20000) << "nothing plays: the position";
    turnTo(0.5F);
    player->play();
    uint64_t time = 0;
    for (int64_t taken = 100; taken <= 50000; taken += 100) {
        advance(100);
        const KXAHeardFrame now = player->heardFrame();
        EXPECT_LE(std::exchange(time, now.hostTime), now.hostTime);
        const int64_t behind = (20000 + taken / 2 - now.frame) % 20000; // in the loop
        ASSERT_TRUE(behind >= 0 && behind <= 1 && now.frame < 30000) << taken << " taken, " << now.frame << " heard";
    }
    player->stop();
    const int64_t stopped = player->heardFrame().frame;
    player->setOutputDeviceID(0);
    EXPECT_EQ(player->heardFrame().frame, stopped) << "another output unit";
    player->setPositionToHeardFrame();
    EXPECT_EQ(player->frameOffset(), stopped);

    load({.frames = 400'000});
    const auto expectHeard = [&](int64_t frame, const char *why) {
        EXPECT_NEAR(static_cast<double>(player->heardFrame().frame), static_cast<double>(frame), 1) << why;
    };
    player->play();
    advance(1000);
    player->setPositionInFrame(200'000);
    expectHeard(500, "the jump is not heard yet");
    advance(100);
    expectHeard(200'050, "now it is");
    EXPECT_NEAR(static_cast<double>(player->frameOffset()), 200'050 + kLookAhead, 1);
    player->setPositionInFrame(100'000);
    player->stop();
    expectHeard(100'000, "and none is undone by a stop");
    player->play();
    advance(1000);
    player->setPositionInFrame(300'000);
    load({.frames = 60000});
    advance(100);
    player->stop();
    expectHeard(50, "a jump in the file before is none in this one");
    player->setOffsetFramesPlay(0, 0, 4000);
    exported();
    expectHeard(player->frameOffset(), "an export is not heard");
}

TEST_F(PlayerEffectTest, WhatItHoldsIsHeardOnceWhateverIsRebuiltAndNotWrittenByAnExport)
{
    load(indexed(400'000));
    hardware->setDevices({{"one"}, {"two"}});
    ASSERT_TRUE(eventually([&] { return player->outputDeviceID() == KXAHardwareManager::deviceIDNamed("one"); }));
    player->play();
    const std::pair<const char *, std::function<void()>> changes[] = {
        {"one", [&] { player->setEffectMode(KXAEffectModeNone); }},
        {"one", [&] { player->setEffectMode(KXAEffectModeAU); }},
        {"one", [&] { player->setEffect(effect.audioUnit()); }},
        {"two", [&] { hardware->setDefaultOutput("two"); }},
        {"one",
         [&] {
             player->setOutputDeviceID(KXAHardwareManager::deviceIDNamed("one"));
             player->play();
         }},
    };
    for (int i = 0; const auto &[name, change] : changes) {
        SCOPED_TRACE(testing::Message() << "change " << i++);
        lookAhead();
        const int64_t next = advance(1).back() + 1;
        EXPECT_EQ(player->heardFrame().frame, next);
        change();
        const auto device = KXAHardwareManager::deviceIDNamed(name);
        ASSERT_TRUE(eventually([&] { return player->outputDeviceID() == device && player->isPlaying(); }));
        expectPasses(advance(2000), 2000, next, 0, 400'000);
    }
    turnTo(0.25F);
    advance(5000);
    player->stop();
    player->setOffsetFramesPlay(20000, 20000, 25000);
    EXPECT_EQ(exported().size(), 40U * 512U) << "not prepared";
}

/// Asked without pause while everything changes, the frame that is heard goes back for none of it.
TEST_F(PlayerEffectTest, TheHeardFrameNeverGoesBackWithoutAJump)
{
    load({.frames = 4'000'000});
    player->setLoop(false);
    std::atomic<bool> done{false};
    int64_t worst = 0;
    std::thread asking([&] {
        for (int64_t last = 0; !done;) {
            const int64_t frame = player->heardFrame().frame;
            worst = std::max(worst, std::exchange(last, frame) - frame);
        }
    });
    for (int round = 0; round < 60; ++round) {
        player->play();
        advance(1500);
        if (round % 3 == 0)
            player->setEffectMode(round % 2);
        if (round % 4 == 0)
            player->setEffect(effect.audioUnit());
        turnTo(0.5F + static_cast<float>(round % 7) / 4);
        advance(700);
        player->stop();
        if (round % 5 == 0)
            player->setOutputDeviceID(0);
    }
    done = true;
    asking.join();
    EXPECT_EQ(worst, 0);
}

TEST_F(PlayerEffectTest, SettingsChangeWithoutMemoryOrLocksAndNoFrameIsLost)
{
    player->setEffect(nullptr);
    load(indexed(2'000'000));
    player->setLoop(false);
    player->play();
    advance(20000);
    while (player->audioData()->prereadFrames(262144) > 0) {
    }
    const RenderGuard guard;
    advance(100'000);
    player->setPositionInFrame(0); // a jump is made on this thread; the render thread only waits for it
    player->setEffect(effect.audioUnit());
    turnTo(0.5F);
    advance(512);
    double due = 256 + kLookAhead;
    for (int i = 0; i < 1000; ++i) {
        const float rate = std::min(0.25F + static_cast<float>(i * 37 % 400) / 100, 4.0F);
        turnTo(rate, static_cast<float>(i * 911 % 4801 - 2400));
        advance(512);
        due += 512 * static_cast<double>(rate);
        ASSERT_NEAR(static_cast<double>(player->frameOffset()), std::min(due, 2e6), 2) << "change " << i;
        player->audioData()->prereadFrames(44100);
    }
    EXPECT_TRUE(!RenderGuard::works() || guard.isClean()) << guard;
}

class PlayerEffectChainTest : public PlayerEffectTest
{
protected:
    void playThrough(Effects effects)
    {
        chain = chainOf(std::move(effects));
        player->setEffect(chain.audioUnit());
    }

    static float negate(float sample) { return -sample; }

    EffectChain chain;
};

/// However many frames the effects are late, and although each changes what it gets.
TEST_F(PlayerEffectChainTest, LoopsAreBitForBitAndTheFrameThatIsHeardIsKnown)
{
    load(indexed(400'000));
    playThrough({std::make_shared<SampleEffect>(negate), std::make_shared<DelayEffect>(700),
                 std::make_shared<TimePitch>(), std::make_shared<DelayEffect>(64),
                 std::make_shared<SampleEffect>(negate)});
    player->setOffsetFramesPlay(5000, 4000, 6001);
    player->play();
    expectPasses(advance(10'000), 10'000, 5000, 4000, 6001);
    EXPECT_EQ(player->heardFrame().frame, 4000 + (1000 + 10'000) % 2001);
    player->setEndOffsetInFrame(400'000);
    player->setPositionInFrame(200'000);
    expectPasses(advance(3000), 3000, 200'000, 4000, 400'000);
    EXPECT_EQ(player->heardFrame().frame, 203'000);
    player->stop();
    player->setPositionToHeardFrame();
    EXPECT_EQ(player->frameOffset(), 203'000);
}

TEST_F(PlayerEffectChainTest, AnExportFromTheRangesStartBeginsThereWhateverJumpsBefore)
{
    struct Jumping : SampleEffect {
        Jumping() : SampleEffect([](float sample) { return sample; }) {}
        void reset() noexcept override { jump(); }
        std::function<void()> jump = [] {};
    };
    load(indexed(60000));
    const auto jumping = std::make_shared<Jumping>();
    playThrough({jumping});
    player->setOffsetFramesPlay(0, 1000, 2000);
    CapturedLog quiet;
    jumping->jump = [&] { player->setPositionInFrame(1500); };
    const auto frames = exported({.fromRangeStart = true, .exactFrames = true});
    jumping->jump = [] {};
    ASSERT_EQ(frames.size(), 1000U);
    expectPasses(frames, 1000, 1000, 1000, 2000);
}

TEST_F(PlayerEffectChainTest, AnExportIsExactAndIsWhatIsPlayed)
{
    auto pitch = std::make_shared<TimePitch>();
    for (const double rate : {1.0, 0.7, 2.5}) {
        SCOPED_TRACE(testing::Message() << "rate " << rate);
        ASSERT_TRUE(pitch->setRate(rate) && pitch->setPitch(200));
        playThrough({std::make_shared<DelayEffect>(64), pitch, std::make_shared<DelayEffect>(3000, 0.5F),
                     std::make_shared<DelayEffect>(1500)});
        for (const int64_t frames : {1, 513, 5003}) {
            expectWhatIsPlayed(1000, 1000 + frames, std::ceil(static_cast<double>(frames) / rate));
            expectWhatIsPlayed(60000 - frames, 60000, std::ceil(static_cast<double>(frames) / rate));
        }
        playThrough({}); // the effects are free again
    }
}

} // namespace
} // namespace kx::test
