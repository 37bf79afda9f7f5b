// Playing and exporting through an effect that looks ahead, and the frame that is heard meanwhile.
#include "KXFW/Audio/KXAHardwareManager.h"
#include "KXFW/Audio/KXAudioUtil.h"
#include "KXFW/Platform/AudioUnits/AVAudioUnitTimePitch.h"
#include "Tests/Audio/PlayerFixture.h"
#include "Tests/Support/CapturedLog.h"
#include "Tests/Support/RenderGuard.h"

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

    /// The frames of an export of the range.
    std::vector<int64_t> exported()
    {
        const auto url = temporaryPath("effect.aiff");
        player->prepareForExport();
        EXPECT_TRUE(exportRange(player, url).completed);
        return indicesOf(url);
    }

    /// The export of a range makes `frames` frames, up to whole slices, and is what is played.
    void expectWhatIsPlayed(int64_t start, int64_t end, double frames)
    {
        SCOPED_TRACE(testing::Message() << start << " to " << end);
        player->setOffsetFramesPlay(0, start, end);
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
        player->setLoop(true);
    }

    AVAudioUnitTimePitch effect;
};

TEST_F(PlayerEffectTest, AnExportHoldsTheWholeSelectionAndIsWhatIsPlayed)
{
    struct Story {
        float rate;
        float cents;
        int64_t start;
        int64_t end;
    };
    for (const Story &story :
         {Story{0.5F, 0, 0, 60000}, Story{2, 0, 0, 60000}, Story{1, 300, 59000, 60000}, Story{1.25F, -700, 5000, 5001},
          Story{4, 1200, 100, 50000}, Story{0.25F, -1200, 40000, 60000}}) {
        SCOPED_TRACE(testing::Message() << "rate " << story.rate << ", " << story.cents << " cents");
        turnTo(story.rate, story.cents);
        expectWhatIsPlayed(story.start, story.end,
                           std::ceil(static_cast<double>(story.end - story.start) / story.rate));
    }
    turnTo(0.5F);
    player->setOffsetFramesPlay(0, 50000, 90000);
    CapturedLog log;
    EXPECT_EQ(exported().size(), 40U * 512U) << "an end beyond the data";
    EXPECT_EQ(log.messages(), std::vector<std::string>{"no frames read"});
}

/// Whatever rate the frames of the file are taken to have.
TEST_F(PlayerEffectTest, AnExportIsExactAtEveryInputRate)
{
    turnTo(0.7F, 200);
    for (const int rate : {8000, 11025, 22050, 32000, 48000, 96000}) {
        auto format = GetStandardDescription();
        format.mSampleRate = rate;
        player->setInputDescription(format);
        for (const uint64_t mode : {KXAEffectModeNone, KXAEffectModeAU}) {
            SCOPED_TRACE(testing::Message() << rate << " Hz, mode " << mode);
            player->setEffectMode(mode);
            for (const int64_t frames : {1, 512, 513, 5003}) { // at 22,050 Hz 512 are two slices to the frame
                const double converted = std::ceil(static_cast<double>(frames) * 44100 / rate);
                const double sounding = mode == KXAEffectModeNone ? converted : std::ceil(converted / 0.7F);
                expectWhatIsPlayed(1000, 1000 + frames, sounding);
                expectWhatIsPlayed(60000 - frames, 60000, sounding); // to the end of the data
            }
        }
    }
}

TEST_F(PlayerEffectTest, AJumpAndAnotherFileAreHeardAtOnce)
{
    load(indexed(400'000));
    const auto play = [&] {
        turnTo(2);
        player->play();
        advance(2000);
        turnTo(1); // it looks ahead, but plays the source as it is
        advance(3000);
    };
    constexpr std::size_t kFade = 1024;
    const auto expectFrom = [&](int64_t frame) {
        const auto frames = advance(4000);
        expectPasses({frames.begin() + kFade, frames.end()}, 4000 - kFade, frame + kFade, 0, 400'000);
        EXPECT_EQ(player->heardFrame().frame, frame + 4000);
    };
    play();
    player->setPositionInFrame(200'000);
    expectFrom(200'000);
    player->setPositionInFrame(5);
    expectFrom(5);
    player->setPositionInFrame(player->frameOffset());
    expectFrom(player->frameOffset());
    player->stop();
    EXPECT_EQ(player->heardFrame().frame, 5 + 4000 + kLookAhead + 4000) << "not the jump";
    play();
    load(indexed(390'000));
    expectFrom(0);
    player->setPositionInFrame(300'000);
    player->stop();
    player->setStartOffsetInFrame(300'000);
    player->setEndOffsetInFrame(301'024);
    const auto url = temporaryPath("jumped.aiff");
    exportRange(player, url);
    EXPECT_EQ(indicesOf(url).size(), 1024U) << "what a jump has let go is no part of an export";
}

TEST_F(PlayerEffectTest, TheEndOfTheDataIsHeardBeforeThePlayerStops)
{
    load({.frames = 3000, .signal = Signal::Noise}); // less than the look-ahead
    turnTo(0.5F);
    player->setLoop(false);
    for (int round = 0; round < 2; ++round) {
        player->setPositionInFrame(0);
        const auto frames = playOut();
        ASSERT_GE(frames.size(), 6000U);
        EXPECT_LT(frames.size(), 6000U + 1024U) << "and no longer";
        EXPECT_EQ(player->heardFrame().frame, 3000);
    }
    EXPECT_LE(playOut().size(), 512U) << "there is nothing to wait for";
}

TEST_F(PlayerEffectTest, KnowsTheFrameThatIsHeardWhateverComesBetween)
{
    player->setOffsetFramesPlay(20000, 10000, 30000);
    EXPECT_EQ(player->heardFrame().frame, 20000) << "nothing plays: the position";
    turnTo(0.5F);
    player->play();
    uint64_t time = 0;
    int64_t last = 20000;
    for (int64_t taken = 100; taken <= 50000; taken += 100) {
        advance(100);
        const KXAHeardFrame now = player->heardFrame();
        EXPECT_LE(std::exchange(time, now.hostTime), now.hostTime);
        const int64_t behind = (20000 + taken / 2 - now.frame) % 20000; // in the loop
        ASSERT_TRUE(behind >= 0 && behind <= 1) << taken << " taken, " << now.frame << " heard";
        ASSERT_TRUE(now.frame >= last || (last > 29900 && now.frame < 10100)) << last << ", " << now.frame;
        last = now.frame;
    }
    player->stop();
    const int64_t stopped = player->heardFrame().frame;
    EXPECT_GE(stopped, last);
    player->setOutputDeviceID(0);
    EXPECT_EQ(player->heardFrame().frame, stopped) << "another output unit";
    player->setPositionToHeardFrame();
    EXPECT_EQ(player->frameOffset(), stopped);

    load({.frames = 400'000});
    player->play();
    advance(1000);
    player->setPositionInFrame(200'000);
    EXPECT_NEAR(static_cast<double>(player->heardFrame().frame), 500, 1) << "the jump is not heard yet";
    advance(100);
    EXPECT_NEAR(static_cast<double>(player->heardFrame().frame), 200'050, 1) << "now it is";
    EXPECT_NEAR(static_cast<double>(player->frameOffset()), 200'050 + kLookAhead, 1);
    player->setPositionInFrame(100'000);
    player->stop();
    EXPECT_EQ(player->heardFrame().frame, 100'000) << "and none is undone by a stop";
    player->play();
    advance(1000);
    player->setPositionInFrame(300'000);
    load({.frames = 60000});
    advance(100);
    player->stop();
    EXPECT_LT(player->heardFrame().frame, 1000) << "a jump in the file before is none in this one";
    player->setOffsetFramesPlay(0, 0, 4000);
    exported();
    EXPECT_EQ(player->heardFrame().frame, player->frameOffset()) << "an export is not heard";
}

/// The effect looks ahead, but plays the source as it is.
TEST_F(PlayerEffectTest, WhatItHoldsIsHeardOnceWhateverIsRebuiltAndNotWrittenByAnExport)
{
    load(indexed(400'000));
    hardware->setDevices({{"one"}, {"two"}});
    ASSERT_TRUE(eventually([&] { return player->outputDeviceID() == KXAHardwareManager::deviceIDNamed("one"); }));
    player->play();
    const std::function<void()> changes[] = {
        [&] { player->setEffectMode(KXAEffectModeNone); },
        [&] { player->setEffectMode(KXAEffectModeAU); },
        [&] { player->setEffect(effect.audioUnit()); },
        [&] { hardware->setDefaultOutput("two"); },
        [&] {
            player->setOutputDeviceID(KXAHardwareManager::deviceIDNamed("one"));
            player->play();
        },
    };
    for (std::size_t i = 0; i < std::size(changes); ++i) {
        SCOPED_TRACE(testing::Message() << "change " << i);
        turnTo(0.5F);
        advance(2000);
        turnTo(1);
        advance(3000);
        const int64_t next = advance(1).back() + 1;
        EXPECT_EQ(player->heardFrame().frame, next);
        EXPECT_TRUE(i == 1 || player->frameOffset() >= next + kLookAhead);
        changes[i]();
        const auto device = KXAHardwareManager::deviceIDNamed(i == 3 ? "two" : "one");
        ASSERT_TRUE(eventually([&] { return player->outputDeviceID() == device && player->isPlaying(); }));
        expectPasses(advance(2000), 2000, next, 0, 400'000);
    }
    turnTo(0.25F);
    advance(5000);
    player->stop();
    player->setOffsetFramesPlay(20000, 20000, 25000);
    const auto url = temporaryPath("unprepared.aiff");
    exportRange(player, url);
    EXPECT_EQ(indicesOf(url).size(), 40U * 512U);
}

/// Asked without pause while everything changes, the frame that is heard goes back for none of it.
TEST_F(PlayerEffectTest, TheHeardFrameNeverGoesBackWithoutAJump)
{
    load({.frames = 4'000'000});
    player->setLoop(false);
    turnTo(0.8F);
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

TEST_F(PlayerEffectTest, KeepsTheUnitOfAnEffectThatHasGone)
{
    auto passing = std::make_unique<AVAudioUnitTimePitch>();
    ASSERT_EQ(passing->setRate(2), noErr);
    player->setEffect(passing->audioUnit());
    passing.reset();
    player->setEffectMode(KXAEffectModeNone);
    player->setEffectMode(KXAEffectModeAU);
    player->play();
    advance(512);
    player->stop();
    EXPECT_EQ(player->frameOffset(), kLookAhead + 1024);
}

} // namespace
} // namespace kx::test
