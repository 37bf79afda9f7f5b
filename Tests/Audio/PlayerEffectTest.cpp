#include "KXFW/Platform/AudioUnits/AVAudioUnitTimePitch.h"
#include "Tests/Audio/PlayerFixture.h"
#include "Tests/Support/CapturedLog.h"
#include "Tests/Support/RenderGuard.h"

#include <cmath>

using namespace kx::test;

namespace
{

constexpr int64_t kLookAhead = 7000;

struct Story {
    float rate;
    float cents;
    int64_t start;
    int64_t end;

    friend std::ostream &operator<<(std::ostream &out, const Story &story)
    {
        return out << "rate " << story.rate << ", " << story.cents << " cents, " << story.start << " to " << story.end;
    }
};

class PlayerEffectTest : public PlayerTest
{
protected:
    PlayerEffectTest()
    {
        EXPECT_TRUE(player->loadFileAtURL(make(music)));
        player->setEffect(effect.audioUnit());
        player->setEffectMode(KXAEffectModeAU);
    }

    void turnTo(float rate, float cents)
    {
        ASSERT_EQ(effect.setRate(rate), noErr);
        ASSERT_EQ(effect.setPitch(cents), noErr);
    }

    /// The frames of an export of the range. Each slice asks for progress, and one more where the data end before it.
    std::vector<int64_t> exported()
    {
        const auto url = temporaryPath("effect.aiff");
        Handshake ended;
        const std::size_t unwritten = player->endOffsetInFrame() > player->totalPackets() ? 1 : 0;
        std::size_t slices = 0;
        player->prepareForExport();
        player->exportAsyncWithURL(
            url,
            [&](double percent) {
                ++slices;
                EXPECT_LE(percent, 100);
                return false;
            },
            [&] { ended.announce(); }, [&](const NSException &) { ADD_FAILURE() << "failed"; });
        EXPECT_TRUE(ended.await());
        std::vector<int64_t> frames;
        for (const Frame frame : readAll(*KXAFiledAudioData2::audioDataWithContentsOfURL(url)))
            frames.push_back(indexIn(frame));
        EXPECT_EQ(frames.size(), (slices - unwritten) * 512);
        return frames;
    }

    /// Output frames that `source` frames make.
    [[nodiscard]] static std::size_t framesFor(int64_t source, float rate)
    {
        return static_cast<std::size_t>(std::ceil(static_cast<double>(source) / rate));
    }

    MediaSpec music{.frames = 60000};
    AVAudioUnitTimePitch effect;
};

TEST_F(PlayerEffectTest, AnExportHoldsTheWholeSelectionAndIsWhatIsPlayed)
{
    for (const Story &story :
         {Story{0.5F, 0, 0, 60000}, Story{0.8F, 0, 1000, 30000}, Story{2, 0, 0, 60000}, Story{1, 300, 59000, 60000},
          Story{1.25F, -700, 5000, 5001}, Story{4, 1200, 100, 50000}, Story{0.25F, -1200, 40000, 60000}}) {
        SCOPED_TRACE(testing::Message() << story);
        turnTo(story.rate, story.cents);
        player->setOffsetFramesPlay(0, story.start, story.end);
        const auto written = exported();
        ASSERT_EQ(written.size(), (framesFor(story.end - story.start, story.rate) + 511) / 512 * 512);

        player->setLoop(false);
        player->setPositionInFrame(story.start);
        heard();
        player->play();
        advance(static_cast<uint32_t>(written.size()));
        player->stop();
        const auto played = heard();
        ASSERT_GE(played.size(), framesFor(story.end - story.start, story.rate));
        for (std::size_t i = 0; i < std::min(written.size(), played.size()); ++i)
            ASSERT_EQ(written[i], played[i]) << "frame " << i;
        player->setLoop(true);
    }
}

TEST_F(PlayerEffectTest, AnExportToAnEndBeyondTheDataEndsWithThem)
{
    turnTo(0.5F, 0);
    player->setOffsetFramesPlay(0, 50000, 90000);
    CapturedLog log;
    EXPECT_EQ(exported().size(), 40U * 512U);
    EXPECT_EQ(log.messages(), std::vector<std::string>{"no frames read"});
}

TEST_F(PlayerEffectTest, TheEndOfTheDataIsHeardBeforeThePlayerStops)
{
    ASSERT_TRUE(player->loadFileAtURL(make({.frames = 3000, .signal = Signal::Noise}))) << "less than the look-ahead";
    turnTo(0.5F, 0);
    player->setLoop(false);
    for (int round = 0; round < 2; ++round) {
        player->setPositionInFrame(0);
        player->play();
        playOut();
        auto frames = heard();
        ASSERT_GE(frames.size(), 6000U);
        EXPECT_LT(frames.size(), 6000U + 1024U) << "and no longer";
        EXPECT_EQ(player->heardFrame().frame, 3000);
    }
    player->play();
    playOut();
    EXPECT_LE(heard().size(), 512U) << "there is nothing to wait for";
}

TEST_F(PlayerEffectTest, PassesOfALoopFlowThroughTheEffectInTime)
{
    turnTo(0.8F, 0);
    player->setOffsetFramesPlay(10000, 10000, 14411); // 4411 frames
    player->play();
    advance(512);
    const int64_t ahead = player->frameOffset();
    EXPECT_EQ(ahead, 10000 + (kLookAhead + 409) % 4411);
    int64_t slices = 1;
    for (int pass = 1; pass <= 20; ++pass) {
        for (; static_cast<double>(slices * 512) * 0.8 < pass * 4411.0; ++slices)
            advance(512);
        const auto entered = static_cast<int64_t>(static_cast<double>(slices * 512) * 0.8) + kLookAhead;
        EXPECT_NEAR(static_cast<double>(player->frameOffset()), static_cast<double>(10000 + entered % 4411), 1)
            << "pass " << pass;
    }
    player->stop();
}

TEST_F(PlayerEffectTest, TellsTheFrameThatIsHeardAndGoesOnFromThere)
{
    player->setOffsetFramesPlay(20000, 10000, 30000);
    EXPECT_EQ(player->heardFrame().frame, 20000) << "nothing plays: the position";
    turnTo(0.5F, 0);
    player->play();
    uint64_t time = 0;
    int64_t last = 20000;
    for (int64_t taken = 0; taken < 50000;) {
        advance(100);
        taken += 100;
        const KXAHeardFrame heardNow = player->heardFrame();
        EXPECT_GE(heardNow.hostTime, time);
        time = heardNow.hostTime;
        const int64_t expected = 20000 + taken / 2;
        const int64_t behind = (expected - heardNow.frame) % 20000; // in the loop
        ASSERT_TRUE(behind >= 0 && behind <= 1) << taken << " taken, " << heardNow.frame << " heard";
        ASSERT_TRUE(heardNow.frame >= last || (last > 29900 && heardNow.frame < 10100))
            << last << ", " << heardNow.frame;
        last = heardNow.frame;
    }
    player->stop();
    const int64_t stopped = player->heardFrame().frame;
    EXPECT_GE(stopped, last);
    player->setPositionToHeardFrame();
    EXPECT_EQ(player->frameOffset(), stopped);
    player->play();
    advance(2);
    EXPECT_NEAR(static_cast<double>(player->heardFrame().frame), static_cast<double>(stopped), 2);
    player->stop();
    player->setPositionInFrame(12345);
    EXPECT_EQ(player->heardFrame().frame, 12345);
}

TEST_F(PlayerEffectTest, KnowsTheFrameHeardLastWhateverComesBetween)
{
    ASSERT_TRUE(player->loadFileAtURL(make({.frames = 400'000})));
    turnTo(0.5F, 0);
    player->play();
    advance(100'000);
    player->stop();
    player->setOutputDeviceID(0);
    EXPECT_NEAR(static_cast<double>(player->heardFrame().frame), 50'000, 1) << "another output unit";
    player->setPositionToHeardFrame();
    player->play();
    advance(1000);
    player->setPositionInFrame(200'000);
    advance(100);
    EXPECT_LT(player->heardFrame().frame, 60'000) << "the jump is not heard yet";
    player->stop();
    EXPECT_EQ(player->heardFrame().frame, 200'000) << "and is not undone by a stop";
    player->play();
    advance(1000);
    player->setPositionInFrame(300'000);
    ASSERT_TRUE(player->loadFileAtURL(make(music)));
    advance(100);
    player->stop();
    EXPECT_LT(player->heardFrame().frame, 1000) << "a jump in the file before is none in this one";
    player->setOffsetFramesPlay(0, 0, 4000);
    exported();
    EXPECT_EQ(player->heardFrame().frame, player->frameOffset()) << "an export is not heard";
}

TEST_F(PlayerEffectTest, WhatItHeldIsNotHeardWhenItComesBack)
{
    ASSERT_TRUE(player->loadFileAtURL(make(indexed(400'000))));
    turnTo(0.5F, 0);
    player->play();
    advance(2000);
    turnTo(1, 0);
    advance(2000);
    player->setEffectMode(KXAEffectModeNone);
    advance(50'000);
    player->setEffectMode(KXAEffectModeAU);
    heard();
    const int64_t position = player->frameOffset();
    advance(2000);
    expectPasses(heard(), 2000, position, 0, 400'000);
    player->stop();
}

TEST_F(PlayerEffectTest, AnExportThatWasNotPreparedWritesNothingOfBefore)
{
    turnTo(0.25F, 0);
    player->play();
    advance(5000);
    player->stop();
    player->setOffsetFramesPlay(20000, 20000, 25000);
    Handshake ended;
    const auto url = temporaryPath("unprepared.aiff");
    player->exportAsyncWithURL(
        url, {}, [&] { ended.announce(); }, [&](const NSException &) { ADD_FAILURE() << "failed"; });
    ASSERT_TRUE(ended.await());
    EXPECT_EQ(KXAFiledAudioData2::audioDataWithContentsOfURL(url)->numFrames(), 40 * 512);
}

/// Asked without pause while everything changes, the frame that is heard goes back for none of it.
TEST_F(PlayerEffectTest, TheHeardFrameNeverGoesBackWithoutAJump)
{
    ASSERT_TRUE(player->loadFileAtURL(make({.frames = 4'000'000})));
    player->setLoop(false);
    turnTo(0.8F, 0);
    std::atomic<bool> done{false};
    int64_t worst = 0;
    std::thread asking([&] {
        int64_t last = 0;
        while (!done) {
            const int64_t frame = player->heardFrame().frame;
            worst = std::max(worst, last - frame);
            last = frame;
        }
    });
    for (int round = 0; round < 60; ++round) {
        player->play();
        advance(1500);
        if (round % 3 == 0)
            player->setEffectMode(round % 2);
        if (round % 4 == 0)
            player->setEffect(effect.audioUnit());
        turnTo(0.5F + static_cast<float>(round % 7) / 4, 0);
        advance(700);
        player->stop();
        if (round % 5 == 0)
            player->setOutputDeviceID(0);
    }
    done = true;
    asking.join();
    EXPECT_EQ(worst, 0);
}

TEST_F(PlayerEffectTest, SettingsChangeWhilePlayingAndNoFrameIsLost)
{
    ASSERT_TRUE(player->loadFileAtURL(make({.frames = 2'000'000})));
    player->setLoop(false);
    while (player->audioData()->prereadFrames(262144) > 0) {
    }
    player->play();
    advance(512);
    const RenderGuard guard;
    double due = 512 + kLookAhead;
    for (int i = 0; i < 1000; ++i) {
        const float rate = 0.25F + static_cast<float>(i * 37 % 400) / 100;
        turnTo(std::min(rate, 4.0F), static_cast<float>(i * 911 % 4801 - 2400));
        advance(512);
        due += 512 * static_cast<double>(std::min(rate, 4.0F));
        ASSERT_NEAR(static_cast<double>(player->frameOffset()), std::min(due, 2e6), 2) << "change " << i;
    }
    EXPECT_TRUE(!RenderGuard::works() || guard.isClean()) << guard;
    player->stop();
}

TEST_F(PlayerEffectTest, KeepsTheUnitOfAnEffectThatHasGone)
{
    {
        AVAudioUnitTimePitch short_lived;
        ASSERT_EQ(short_lived.setRate(2), noErr);
        player->setEffect(short_lived.audioUnit());
    }
    player->setEffectMode(KXAEffectModeNone);
    player->setEffectMode(KXAEffectModeAU);
    player->play();
    advance(512);
    player->stop();
    EXPECT_EQ(player->frameOffset(), kLookAhead + 1024);
    player->setEffect(nullptr);
    EXPECT_EQ(player->playerParam()->postUnit(), player->preConverterUnit());
}

} // namespace
