// Playback that ends by itself, and who hears of it.
#include "Tests/Audio/PlayerFixture.h"

namespace kx::test
{
namespace
{

/// Ticks are made by hand, so that it is known what a tick tells.
class PlayerEndTest : public PlayerTest
{
protected:
    PlayerEndTest()
    {
        load(indexed(20000));
        player->timer()->cancel();
        player->setLoop(false);
        player->setPlaysRangeOnce(true);
        player->setPlaybackEndedBlock([this] { ended.announce(); });
    }

    void playTheRange()
    {
        ASSERT_TRUE(player->setOffsetFramesPlay(1000, 1000, 4000));
        ASSERT_TRUE(player->play());
        for (const Deadline deadline; player->isPlaying() && !deadline.passed();)
            hardware->advance(512);
    }

    /// Of a tick after all has been heard.
    bool tellsAnEnd(int count)
    {
        EXPECT_TRUE(eventually([&] {
            uint32_t sounds = 1;
            uint32_t size = sizeof sounds;
            AudioUnitGetProperty(player->outputUnit(), kAudioOutputUnitProperty_IsSounding, kAudioUnitScope_Global, 0,
                                 &sounds, &size);
            return sounds == 0;
        }));
        player->_timerFired(nullptr);
        return ended.count() == count;
    }

    Handshake ended;
};

TEST_F(PlayerEndTest, IsToldOnceUnlessAStopOrAPlayComesFirst)
{
    playTheRange();
    ASSERT_TRUE(tellsAnEnd(1));
    const auto frames = heard();
    expectPasses(frames, 3000, 1000, 0, 20000);
    EXPECT_EQ(std::count(frames.begin() + 3000, frames.end(), 0), std::ssize(frames) - 3000);
    EXPECT_EQ(player->heardFrame().frame, 4000);

    playTheRange();
    player->stop();
    EXPECT_TRUE(tellsAnEnd(1));
    playTheRange();
    player->setLoop(true); // which the range once waits for
    player->setOffsetFramesPlay(1000, 1000, 4000);
    player->play();
    heard();
    expectPasses(advance(10000), 10000, 1000, 1000, 4000);
    player->stop();
    player->setLoop(false);
    EXPECT_TRUE(tellsAnEnd(1));
    playTheRange();
    EXPECT_TRUE(exportRange(player, temporaryPath("end.aiff")).completed);
    EXPECT_TRUE(tellsAnEnd(1));
    playTheRange();
    load(indexed(20000));
    EXPECT_TRUE(tellsAnEnd(1)) << "it was of the file before";
    playTheRange();
    player->setPositionInFrame(7);
    EXPECT_TRUE(tellsAnEnd(2)) << "the next one again, and a jump is no new run";
}

TEST_F(PlayerEndTest, TheBlockMayPlayAgainOrReleaseThePlayerWhichBlocksDoNotKeep)
{
    player->setPlaybackEndedBlock([this](KXAFilePlayer &it) {
        EXPECT_TRUE(it.setPositionInFrame(1000) && it.play());
        ended.announce();
    });
    playTheRange();
    ASSERT_TRUE(tellsAnEnd(1));
    EXPECT_TRUE(player->isPlaying());
    std::weak_ptr<KXAFilePlayer> weak = player;
    player.reset();
    EXPECT_TRUE(weak.expired());

    player = KXAFilePlayer::player(); // its timer runs
    weak = player;
    load(indexed(3000));
    player->setLoop(false);
    player->setPlaybackEndedBlock([this] {
        player.reset();
        ended.announce();
    });
    player->play();
    for (const Deadline deadline; ended.count() < 2 && !deadline.passed();)
        hardware->advance(512);
    EXPECT_TRUE(eventually([&] { return weak.expired() && hardware->openStreams() == 0; }));
}

TEST(PlayerEnd, IsToldWhenTheDeviceHasPlayedAll)
{
    const ScopedVirtualHardware hardware(VirtualClock::RealTime);
    const auto player = KXAFilePlayer::player();
    ASSERT_TRUE(player->loadFileAtURL(make(indexed(5000))));
    player->setLoop(false);
    const auto ended = std::make_shared<Handshake>();
    player->setPlaybackEndedBlock([ended](KXAFilePlayer &it) {
        EXPECT_EQ(it.heardFrame().frame, 5000);
        ended->announce();
    });
    player->play();
    for (const Deadline deadline; ended->count() == 0 && !deadline.passed();)
        player->_timerFired(nullptr);
    EXPECT_EQ(ended->count(), 1);
}

} // namespace
} // namespace kx::test
