// The chain of units, the output device and its changes.
#include "KXFW/Audio/KXAHardwareManager.h"
#include "Tests/Audio/PlayerFixture.h"
#include "Tests/Support/CapturedLog.h"

using namespace kx::test;

namespace
{

AudioUnit makeConverter()
{
    const AudioComponentDescription description{kAudioUnitType_FormatConverter, 0, 0, 0, 0};
    AudioUnit unit = nullptr;
    EXPECT_EQ(AudioComponentInstanceNew(AudioComponentFindNext(nullptr, &description), &unit), noErr);
    return unit;
}

/// A player whose effect is a plain converter: the effect chain in its full length, with nothing changed.
class PlayerChainTest : public PlayerTest
{
protected:
    ~PlayerChainTest() override
    {
        player->setEffect(nullptr);
        AudioComponentInstanceDispose(effect);
    }

    AudioUnit effect = makeConverter();
};

TEST_F(PlayerChainTest, BuildsTheChainOfTheMode)
{
    player->setEffectMode(2);
    EXPECT_EQ(player->playerParam()->mode(), 2U);
    EXPECT_EQ(player->playerParam()->postUnit(), player->preConverterUnit()) << "an unknown mode builds nothing";
    player->setEffectMode(KXAEffectModeAU);
    EXPECT_EQ(player->playerParam()->mode(), KXAEffectModeAU);
    EXPECT_EQ(player->playerParam()->postUnit(), player->preConverterUnit()) << "no effect unit yet";
    player->setEffectMode(KXAEffectModeNone);
    player->setEffect(effect);
    EXPECT_EQ(player->playerParam()->mode(), KXAEffectModeNone);
    EXPECT_NE(player->postConverterUnit(), nullptr);
    EXPECT_EQ(player->playerParam()->postUnit(), player->postConverterUnit());
    const AudioUnit replaced = player->preConverterUnit();
    player->setEffectMode(KXAEffectModeAU);
    EXPECT_EQ(AudioUnitInitialize(replaced), kAudioComponentErr_InstanceInvalidated) << "replaced units are ended";
    AudioUnit none = nullptr;
    player->prv_cleanAudioUnitIfNeeded(&none);
}

TEST_F(PlayerChainTest, PlaysBitForBitThroughEitherChainAndAcrossRebuilds)
{
    load(400000);
    player->setEffect(effect);
    player->setEffectMode(KXAEffectModeAU);
    player->play();
    advance(3000);
    for (const uint64_t mode : {0U, 1U, 7U, 0U}) {
        player->setEffectMode(mode);
        EXPECT_TRUE(player->isPlaying());
        const int64_t from = player->frameOffset();
        heard();
        advance(2000);
        expectPasses(heard(), 2000, from, 0, 400000);
    }
    player->setEffect(nullptr);
    const int64_t from = player->frameOffset();
    heard();
    advance(1000);
    expectPasses(heard(), 1000, from, 0, 400000);
}

TEST_F(PlayerTest, WritesTheDevicesBufferSizeAtEveryOutputSetup)
{
    const AudioObjectPropertyAddress address{kAudioDevicePropertyBufferSize, kAudioDevicePropertyScopeOutput, 0};
    uint32_t bytes = 8192;
    AudioObjectSetPropertyData(player->outputDeviceID(), &address, 0, nullptr, sizeof bytes, &bytes);
    player->setOutputDeviceID(player->outputDeviceID());
    uint32_t size = sizeof bytes;
    AudioObjectGetPropertyData(player->outputDeviceID(), &address, 0, nullptr, &size, &bytes);
    EXPECT_EQ(bytes, 4096U);
}

class PlayerDeviceTest : public PlayerTest
{
protected:
    PlayerDeviceTest()
    {
        system.setDevices({{"one"}, {"two"}, {"three", 48000}});
        system.setDefaultOutput("one");
        EXPECT_TRUE(isOn("one"));
    }

    ::testing::AssertionResult isOn(const std::string &name)
    {
        return eventually([&] {
            const AudioObjectID device = KXAHardwareManager::deviceIDNamed(name);
            return player->outputDeviceID() == device && (device == 0) == name.empty();
        });
    }

    kx::VirtualHardware &system = kx::VirtualHardware::instance();
};

TEST_F(PlayerDeviceTest, FollowsTheDefaultDeviceFromTheSameByteOffset)
{
    load(400000);
    // A block may still run when the test is over: what it uses is shared with it.
    const auto rebuilt = std::make_shared<Handshake>();
    player->setOutputRebuiltBlock([rebuilt, weak = std::weak_ptr(player)] {
        if (const auto alive = weak.lock())
            alive->setVolume(0.5F);
        rebuilt->announce();
    });
    player->play();
    advance(1000);
    system.setDefaultOutput("two");
    ASSERT_TRUE(rebuilt->await());
    ASSERT_TRUE(isOn("two"));
    ASSERT_TRUE(eventually([&] { return player->isPlaying(); }));
    EXPECT_EQ(player->volume(), 0.5F);
    heard();
    const int64_t position = player->frameOffset();
    advance(2000);
    EXPECT_GT(player->frameOffset(), position);
    EXPECT_EQ(player->_handleHardwarePropertyChange(kAudioHardwarePropertyDevices), noErr);
    EXPECT_TRUE(isOn("two")) << "other properties change nothing";
    player->stop();
    system.setDefaultOutput("one");
    ASSERT_TRUE(isOn("one"));
    EXPECT_FALSE(player->isPlaying()) << "stopped stays stopped";
}

TEST_F(PlayerDeviceTest, StaysOnAChosenDeviceAndLeavesItWhenItGoes)
{
    load(400000);
    player->setFollowsDefaultOutput(false);
    player->play();
    EXPECT_TRUE(player->setOutputDeviceID(KXAHardwareManager::deviceIDNamed("three")));
    EXPECT_FALSE(player->isPlaying());
    player->play();
    system.setDefaultOutput("two");
    advance(3000);
    EXPECT_TRUE(isOn("three"));
    system.setDevices({{"one"}, {"two"}});
    ASSERT_TRUE(isOn("two"));
    ASSERT_TRUE(eventually([&] { return player->isPlaying(); }));
    heard();
    advance(1000);
    EXPECT_GE(heard().size(), 1000U);
    EXPECT_THROW(player->setOutputDeviceID(4711), NSException);
    EXPECT_TRUE(player->setOutputDeviceID(0));
    EXPECT_TRUE(isOn("two"));
}

TEST_F(PlayerDeviceTest, WaitsInSilenceWithoutAnyDevice)
{
    load(400000);
    player->play();
    advance(1000);
    system.setDevices({});
    ASSERT_TRUE(isOn(""));
    ASSERT_TRUE(eventually([&] { return player->isPlaying(); }));
    const int64_t position = player->byteOffset();
    player->stop();
    player->play();
    EXPECT_TRUE(player->isPlaying());
    EXPECT_EQ(player->byteOffset(), position) << "nothing is pulled";
    system.setDevices({{"late"}});
    ASSERT_TRUE(isOn("late"));
    ASSERT_TRUE(eventually([&] { return player->isPlaying(); }));
    heard();
    advance(2000);
    const auto frames = heard();
    ASSERT_FALSE(frames.empty());
    EXPECT_GE(frames[0], position / 4);
    EXPECT_LE(frames[0], position / 4 + 1024) << "it goes on where it was, but for a slice that a rebuild cuts";
    expectPasses(frames, frames.size(), frames[0], 0, 400000);
}

TEST_F(PlayerDeviceTest, EndsOnTheLastOfManyDefaultsAndPlaysOn)
{
    load(400000);
    player->play();
    std::atomic<bool> done{false};
    std::thread clock([&] {
        while (!done)
            system.advance(256);
    });
    for (int i = 0; i < 100; ++i)
        system.setDefaultOutput(i % 2 == 0 ? "two" : "one");
    EXPECT_TRUE(isOn("one"));
    EXPECT_TRUE(eventually([&] { return player->isPlaying() && system.openStreams() == 1; }))
        << "playing " << player->isPlaying() << ", streams " << system.openStreams();
    done = true;
    clock.join();
    const auto frames = heard();
    for (std::size_t i = 1; i < frames.size(); ++i)
        ASSERT_TRUE(frames[i] >= frames[i - 1] || frames[i] < 4096) << "frames come in order, pass after pass";
    player.reset();
    EXPECT_TRUE(eventually([&] { return system.openStreams() == 0; }));
}

} // namespace
