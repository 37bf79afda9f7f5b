// The chain of units, the output device and its changes.
#include "KXFW/Audio/KXAHardwareManager.h"
#include "KXFW/Platform/AudioUnits/AVAudioUnitTimePitch.h"
#include "Tests/Audio/PlayerFixture.h"
#include "Tests/Support/CapturedLog.h"

namespace kx::test
{
namespace
{

/// The effect, not set to anything, is the effect chain in its full length with nothing changed.
TEST_F(PlayerTest, PlaysBitForBitThroughEitherChainAndAcrossRebuilds)
{
    load(indexed(400000));
    player->setEffectMode(KXAEffectModeAU);
    EXPECT_EQ(player->playerParam()->postUnit(), player->preConverterUnit()) << "no effect unit yet";
    player->setEffect(AVAudioUnitTimePitch().audioUnit()); // the player keeps the unit of an effect that has gone
    player->play();
    std::vector<int64_t> all;
    for (const uint64_t mode : {0U, 1U, 7U, 0U}) {
        std::ranges::copy(advance(3000), std::back_inserter(all));
        const AudioUnit replaced = player->preConverterUnit();
        player->setEffectMode(mode);
        EXPECT_EQ(AudioUnitInitialize(replaced), mode == 7 ? noErr : kAudioComponentErr_InstanceInvalidated)
            << "what is replaced is ended, and an unknown mode " << mode << " builds nothing";
        EXPECT_EQ(player->playerParam()->postUnit() == player->postConverterUnit(), mode == 1 || mode == 7);
    }
    const auto other = KXAFilePlayer::player();
    const CapturedLog quiet;
    EXPECT_FALSE(other->setEffect(player->effectUnit())) << "it is in a chain";
    EXPECT_TRUE(player->setEffect(player->effectUnit()));
    const AVAudioUnitTimePitch effect;
    EXPECT_TRUE(player->setEffect(effect.audioUnit()));
    EXPECT_TRUE(player->setEffect(nullptr));
    EXPECT_TRUE(other->setEffect(effect.audioUnit())) << "it has been let go";
    std::ranges::copy(advance(1000), std::back_inserter(all));
    expectPasses(all, 13000, 0, 0, 400000);
}

class PlayerDeviceTest : public PlayerTest
{
protected:
    PlayerDeviceTest()
    {
        hardware->setDevices({{"one"}, {"two"}, {"three"}});
        hardware->setDefaultOutput("one");
        EXPECT_TRUE(isOn("one"));
        load(indexed(400000));
        player->play();
        advance(1000);
    }

    static AudioObjectID device(const char *name) { return KXAHardwareManager::deviceIDNamed(name); }

    testing::AssertionResult isOn(const std::string &name)
    {
        return eventually([&] {
            const AudioObjectID named = device(name.c_str());
            return player->outputDeviceID() == named && (named == 0) == name.empty();
        });
    }

    /// It has moved there, and goes on where it was heard.
    void expectPlaysOn(const std::string &name)
    {
        SCOPED_TRACE(name);
        ASSERT_TRUE(isOn(name));
        ASSERT_TRUE(eventually([&] { return player->isPlaying(); }));
        heard();
        const int64_t position = player->frameOffset();
        expectPasses(advance(2000), 2000, position, 0, 400000);
    }
};

TEST_F(PlayerDeviceTest, FollowsTheDefaultDeviceOrStaysOnAChosenOneUntilItGoes)
{
    // A block may still run when the test is over: what it uses is shared with it.
    const auto rebuilt = std::make_shared<Handshake>();
    player->setOutputRebuiltBlock([rebuilt, weak = std::weak_ptr(player)] {
        if (const auto alive = weak.lock())
            alive->setVolume(1);
        rebuilt->announce();
    });
    hardware->setDefaultOutput("two");
    ASSERT_TRUE(rebuilt->await());
    expectPlaysOn("two");
    EXPECT_GT(player->frameOffset(), 2000) << "from the same byte offset";
    player->stop();
    hardware->setDefaultOutput("one");
    ASSERT_TRUE(isOn("one"));
    EXPECT_FALSE(player->isPlaying()) << "stopped stays stopped";
    hardware->setDefaultOutput("three");
    EXPECT_TRUE(player->setOutputDeviceID(device("two")));
    EXPECT_TRUE(allIsTold());
    EXPECT_TRUE(isOn("two")) << "the choice came after the change, the notification after the choice";
    hardware->setDefaultOutput("one");
    EXPECT_TRUE(isOn("one"));

    player->setFollowsDefaultOutput(false);
    EXPECT_TRUE(player->setOutputDeviceID(device("two")));
    player->play();
    hardware->setDefaultOutput("three");
    EXPECT_TRUE(allIsTold());
    expectPlaysOn("two");
    const int moves = rebuilt->count();
    hardware->setDevices({{"one"}, {"three"}}); // and the default stays
    expectPlaysOn("three");
    player->setFollowsDefaultOutput(true);
    hardware->setDevices({{"one"}});
    expectPlaysOn("one");
    EXPECT_TRUE(allIsTold());
    EXPECT_EQ(rebuilt->count(), moves + 2) << "the list and the default are two notifications of one loss";

    player->setFollowsDefaultOutput(false);
    hardware->setDevices({});
    ASSERT_TRUE(isOn(""));
    ASSERT_TRUE(eventually([&] { return player->isPlaying(); }));
    const int64_t position = player->byteOffset();
    player->stop();
    player->play();
    EXPECT_TRUE(player->isPlaying()) << "in silence";
    EXPECT_EQ(player->byteOffset(), position) << "nothing is pulled";
    hardware->setDevices({{"late"}});
    expectPlaysOn("late");
}

TEST_F(PlayerDeviceTest, KeepsItsVolumeFromTheFirstSliceOfARebuiltOutputIfItIsTo)
{
    player->setVolume(0.25F);
    player->setOutputDeviceID(device("one"));
    EXPECT_EQ(player->volume(), 1.0F) << "another unit's own";
    EXPECT_THROW(player->setVolume(std::numeric_limits<float>::quiet_NaN()), NSException);
    player->setKeepsVolume(true);
    player->setVolume(0.5F);
    player->play();
    advance(1000);
    const int64_t next = player->heardFrame().frame;
    hardware->setDefaultOutput("two");
    ASSERT_TRUE(isOn("two"));
    const auto halves = advance(1000);
    EXPECT_EQ(player->volume(), 0.5F);
    ASSERT_GE(halves.size(), 1000U);
    for (std::size_t i = 0; i < halves.size(); ++i)
        ASSERT_NEAR(static_cast<double>(halves[i]), (static_cast<double>(next) + static_cast<double>(i)) / 2, 1);
}

TEST_F(PlayerDeviceTest, WritesTheBufferSizeAtEverySetUpAndItsBlockMayEndThePlayer)
{
    const AudioObjectPropertyAddress address{kAudioDevicePropertyBufferSize, kAudioDevicePropertyScopeOutput, 0};
    uint32_t bytes = 8192;
    uint32_t size = sizeof bytes;
    AudioObjectSetPropertyData(device("one"), &address, 0, nullptr, size, &bytes);
    player->setOutputRebuiltBlock([this] { player.reset(); });
    EXPECT_TRUE(player->setOutputDeviceID(device("one")));
    AudioObjectGetPropertyData(device("one"), &address, 0, nullptr, &size, &bytes);
    EXPECT_EQ(bytes, 4096U);
    EXPECT_EQ(player, nullptr);
}

TEST_F(PlayerDeviceTest, TwoPlayersPlayTheirOwnFilesAtOnce)
{
    const auto other = KXAFilePlayer::player();
    ASSERT_TRUE(other->loadFileAtURL(make(indexed(390000))));
    ASSERT_TRUE(other->setOutputDeviceID(device("two")));
    other->setPositionInFrame(200000);
    other->play();
    const int64_t position = player->frameOffset();
    auto frames = advance(5000);
    const auto others =
        std::stable_partition(frames.begin(), frames.end(), [](int64_t frame) { return frame < 200000; });
    expectPasses({frames.begin(), others}, 5000, position, 0, 400000);
    expectPasses({others, frames.end()}, 4000, 200000, 0, 390000);
}

TEST_F(PlayerDeviceTest, EndsOnTheLastOfManyDefaultsAndPlaysOn)
{
    std::atomic<bool> done{false};
    std::thread clock([&] {
        while (!done)
            hardware->advance(256);
    });
    for (int i = 0; i < 101; ++i)
        hardware->setDefaultOutput(i % 2 == 0 ? "two" : "one");
    EXPECT_TRUE(isOn("two"));
    EXPECT_TRUE(eventually([&] { return player->isPlaying() && hardware->openStreams() == 1; }));
    done = true;
    clock.join();
    const auto frames = heard();
    for (std::size_t i = 1; i < frames.size(); ++i)
        ASSERT_TRUE(frames[i] >= frames[i - 1] || frames[i] < 4096) << "frames come in order, pass after pass";
    player.reset();
    EXPECT_TRUE(eventually([&] { return hardware->openStreams() == 0; }));
}

} // namespace
} // namespace kx::test
