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
    const AVAudioUnitTimePitch effect;
    player->setEffect(effect.audioUnit());
    EXPECT_EQ(player->playerParam()->postUnit(), player->postConverterUnit());
    player->play();
    for (const uint64_t mode : {0U, 1U, 7U, 0U}) {
        advance(3000);
        const AudioUnit replaced = player->preConverterUnit();
        player->setEffectMode(mode);
        EXPECT_EQ(AudioUnitInitialize(replaced), mode == 7 ? noErr : kAudioComponentErr_InstanceInvalidated)
            << "what is replaced is ended, and an unknown mode " << mode << " builds nothing";
        EXPECT_TRUE(player->isPlaying());
        const int64_t from = player->frameOffset();
        heard();
        expectPasses(advance(2000), 2000, from, 0, 400000);
    }
    player->setEffect(nullptr);
    const int64_t from = player->frameOffset();
    heard();
    expectPasses(advance(1000), 1000, from, 0, 400000);
}

/// A looping player on the first of three devices.
class PlayerDeviceTest : public PlayerTest
{
protected:
    PlayerDeviceTest()
    {
        hardware->setDevices({{"one"}, {"two"}, {"three", 48000}});
        hardware->setDefaultOutput("one");
        EXPECT_TRUE(isOn("one"));
        load(indexed(400000));
        player->play();
        advance(1000);
    }

    ::testing::AssertionResult isOn(const std::string &name)
    {
        return eventually([&] {
            const AudioObjectID device = KXAHardwareManager::deviceIDNamed(name);
            return player->outputDeviceID() == device && (device == 0) == name.empty();
        });
    }
    ::testing::AssertionResult playsOn(const std::string &name)
    {
        const auto is = isOn(name);
        return is ? eventually([&] { return player->isPlaying(); }) : is;
    }
};

TEST_F(PlayerDeviceTest, FollowsTheDefaultDeviceFromTheSameByteOffset)
{
    // A block may still run when the test is over: what it uses is shared with it.
    const auto rebuilt = std::make_shared<Handshake>();
    player->setOutputRebuiltBlock([rebuilt, weak = std::weak_ptr(player)] {
        if (const auto alive = weak.lock())
            alive->setVolume(0.5F);
        rebuilt->announce();
    });
    const int64_t before = player->frameOffset();
    hardware->setDefaultOutput("two");
    ASSERT_TRUE(rebuilt->await());
    ASSERT_TRUE(playsOn("two"));
    EXPECT_EQ(player->volume(), 0.5F);
    EXPECT_GE(player->frameOffset(), before);
    advance(2000);
    EXPECT_GT(player->frameOffset(), before + 1000);
    player->stop();
    hardware->setDefaultOutput("one");
    ASSERT_TRUE(isOn("one"));
    EXPECT_FALSE(player->isPlaying()) << "stopped stays stopped";

    const AudioObjectPropertyAddress address{kAudioDevicePropertyBufferSize, kAudioDevicePropertyScopeOutput, 0};
    uint32_t bytes = 8192;
    uint32_t size = sizeof bytes;
    AudioObjectSetPropertyData(player->outputDeviceID(), &address, 0, nullptr, size, &bytes);
    player->setOutputRebuiltBlock([this] { player.reset(); });
    EXPECT_TRUE(player->setOutputDeviceID(player->outputDeviceID()));
    AudioObjectGetPropertyData(KXAHardwareManager::deviceIDNamed("one"), &address, 0, nullptr, &size, &bytes);
    EXPECT_EQ(bytes, 4096U) << "written at every output set-up";
    EXPECT_EQ(player, nullptr) << "the block may let go of the player";
}

TEST_F(PlayerDeviceTest, StaysOnAChosenDeviceAndLeavesItWhenItGoes)
{
    player->setFollowsDefaultOutput(false);
    EXPECT_TRUE(player->setOutputDeviceID(KXAHardwareManager::deviceIDNamed("three")));
    EXPECT_FALSE(player->isPlaying());
    player->play();
    hardware->setDefaultOutput("two");
    advance(3000);
    EXPECT_TRUE(isOn("three"));
    hardware->setDevices({{"one"}, {"two"}});
    ASSERT_TRUE(playsOn("two"));
    heard();
    EXPECT_GE(advance(1000).size(), 1000U);
    EXPECT_THROW(player->setOutputDeviceID(4711), NSException);
    EXPECT_TRUE(player->setOutputDeviceID(0));
    EXPECT_TRUE(isOn("two"));
}

TEST_F(PlayerDeviceTest, WaitsInSilenceWithoutAnyDevice)
{
    hardware->setDevices({});
    ASSERT_TRUE(playsOn(""));
    const int64_t position = player->byteOffset();
    player->stop();
    player->play();
    EXPECT_TRUE(player->isPlaying());
    EXPECT_EQ(player->byteOffset(), position) << "nothing is pulled";
    hardware->setDevices({{"late"}});
    ASSERT_TRUE(playsOn("late"));
    heard();
    const auto frames = advance(2000);
    ASSERT_FALSE(frames.empty());
    EXPECT_GE(frames[0], position / 4);
    EXPECT_LE(frames[0], position / 4 + 1024) << "it goes on where it was, but for a slice that a rebuild cuts";
    expectPasses(frames, frames.size(), frames[0], 0, 400000);
}

TEST_F(PlayerDeviceTest, EndsOnTheLastOfManyDefaultsAndPlaysOn)
{
    std::atomic<bool> done{false};
    std::thread clock([&] {
        while (!done)
            hardware->advance(256);
    });
    for (int i = 0; i < 100; ++i)
        hardware->setDefaultOutput(i % 2 == 0 ? "two" : "one");
    EXPECT_TRUE(playsOn("one"));
    EXPECT_TRUE(eventually([&] { return hardware->openStreams() == 1; }));
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
