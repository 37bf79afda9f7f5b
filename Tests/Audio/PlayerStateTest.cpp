// What a player says of itself after something has failed, and that it goes on.
#include "KXFW/Audio/KXAHardwareManager.h"
#include "KXFW/Audio/KXAudioUtil.h"
#include "KXFW/Platform/AudioUnits/AVAudioUnitTimePitch.h"
#include "Tests/Audio/PlayerFixture.h"
#include "Tests/Support/CapturedLog.h"
#include "Tests/Support/FailingDisk.h"
#include "Tests/Support/FailingResources.h"

namespace kx::test
{
namespace
{

class PlayerStateTest : public PlayerTest
{
protected:
    PlayerStateTest() { load(indexed(400'000)); }

    /// What it says of playing is so, and it plays from where it says.
    void expectTrueAndUsable()
    {
        uint32_t runs = 0;
        uint32_t size = sizeof runs;
        AudioUnitGetProperty(player->outputUnit(), kAudioOutputUnitProperty_IsRunning, kAudioUnitScope_Global, 0, &runs,
                             &size);
        ASSERT_EQ(player->isPlaying(), runs != 0);
        player->stop();
        heard();
        const int64_t position = player->frameOffset();
        player->play();
        ASSERT_TRUE(player->isPlaying());
        expectPasses(advance(600), 600, position, player->startOffsetInFrame(), player->endOffsetInFrame());
        player->stop();
    }

    AVAudioUnitTimePitch effect; // left neutral: frames stay what they are
    CapturedLog quiet;
};

/// Every operation, playing and stopped: no thread is to be had, or one of its allocations fails, each in turn.
TEST_F(PlayerStateTest, IsTrueAfterAnyOperationThatHadNoThreadOrMemory)
{
    const auto other = make(indexed(300'000));
    const auto destination = temporaryPath("state.aiff");
    Handshake exported;
    int ends = 0;
    const std::pair<const char *, std::function<void()>> operations[] = {
        {"play", [&] { player->play(); }},
        {"stop", [&] { player->stop(); }},
        {"load", [&] { (void)player->loadFileAtURL(other); }},
        {"effect", [&] { player->setEffect(effect.audioUnit()); }},
        {"mode", [&] { player->setEffectMode(KXAEffectModeNone); }},
        {"device", [&] { player->setOutputDeviceID(0); }},
        {"new default", [&] { player->_handleHardwarePropertyChange(kAudioHardwarePropertyDefaultOutputDevice); }},
        {"input", [&] { player->setInputDescription(GetStandardDescription()); }},
        {"range", [&] { player->setOffsetFramesPlay(200, 100, 50'000); }},
        {"prepare", [&] { player->prepareForExport(); }},
        {"export",
         [&] {
             const auto end = [&] { exported.announce(); };
             player->exportAsyncWithURL(
                 destination, [](double) { return true; }, end, [end](const NSException &) { end(); });
             ++ends;
         }},
    };
    for (const auto &[name, operation] : operations) {
        for (const bool playing : {false, true}) {
            for (int before = -1; before < 1 || FailingResource::hasFailed(); ++before) {
                SCOPED_TRACE(testing::Message() << name << (playing ? " playing, " : ", ") << before);
                if (playing)
                    player->play();
                try {
                    const FailingResource none(before);
                    operation();
                } catch (const std::exception &) {
                    // Told; what matters is what holds now.
                }
                ASSERT_TRUE(exported.await(ends));
                if (player->totalPackets() == 0) // told by the load's result
                    load(indexed(400'000));
                if (player->outputDeviceID() == 0) // told by just that: the default could not be asked for
                    player->setOutputDeviceID(0);
                ASSERT_NO_FATAL_FAILURE(expectTrueAndUsable());
            }
        }
    }
}

TEST_F(PlayerStateTest, AUnitThatRefusesIsTold)
{
    AudioComponentInstanceDispose(player->outputUnit());
    EXPECT_THROW(player->play(), NSException);
    EXPECT_TRUE(player->isPlaying()) << "until the stop";
    EXPECT_THROW(player->stop(), NSException);
    EXPECT_FALSE(player->isPlaying());
    expectTrueAndUsable();

    auto refused = GetStandardDescription();
    refused.mChannelsPerFrame = 0;
    player->play();
    EXPECT_THROW(player->setInputDescription(refused), NSException);
    EXPECT_EQ(player->inputDescription().mChannelsPerFrame, 0U) << "it stays";
    EXPECT_FALSE(player->isPlaying());
    EXPECT_THROW(player->play(), NSException);
    EXPECT_NE(exportRange(player, temporaryPath("refused.aiff")).failure, "");
    player->setInputDescription(GetStandardDescription());
    expectTrueAndUsable();
}

TEST_F(PlayerStateTest, ADeviceThatIsNotThereOrOnlyRecordsIsToldAndLeftAlone)
{
    hardware->setDevices({{"speaker"}, {.name = "microphone", .hasInput = true, .hasOutput = false}});
    const AudioObjectID speaker = KXAHardwareManager::deviceIDNamed("speaker");
    ASSERT_TRUE(eventually([&] { return player->outputDeviceID() == speaker; }));
    const auto refuseBoth = [&] {
        for (const auto &[device, status] :
             {std::pair(4711U, kAudioHardwareBadDeviceError),
              std::pair(KXAHardwareManager::deviceIDNamed("microphone"), kAudioHardwareIllegalOperationError)}) {
            try {
                player->setOutputDeviceID(device);
                ADD_FAILURE() << "accepted";
            } catch (const NSException &exception) {
                EXPECT_EQ(exception.userInfo().at("error").code, status);
            }
            EXPECT_EQ(player->outputDeviceID(), speaker);
        }
        return true;
    };
    refuseBoth();
    expectTrueAndUsable();
    EXPECT_TRUE(exportRange(player, temporaryPath("device.aiff"), refuseBoth).completed);
    EXPECT_EQ(player->outputDeviceID(), speaker);
}

TEST_F(PlayerStateTest, AStopFromTheBlockOfARebuiltOutputHolds)
{
    player->play();
    player->setOutputRebuiltBlock([this] { player->stop(); });
    player->_handleHardwarePropertyChange(kAudioHardwarePropertyDefaultOutputDevice);
    EXPECT_FALSE(player->isPlaying());
}

/// The format may change between the chain's request and the read.
TEST_F(PlayerStateTest, ARequestIsFilledAsFarAsItsBufferGoes)
{
    std::vector<uint32_t> frames(1024, 0xEEEEEEEE);
    AudioBuffer buffer{2, 64, frames.data()};
    player->prv_render({}, 512, buffer);
    EXPECT_EQ(player->frameOffset(), 16);
    EXPECT_EQ(std::count(frames.begin(), frames.end(), 0xEEEEEEEE), 1024 - 16);
}

TEST_F(PlayerStateTest, AFailedSeekIsMadeUpForWhenTheDiskIsBack)
{
    {
        const FailingDisk disk(44 + 4 * 100'000);
        EXPECT_THROW(player->setPositionInFrame(200'000), NSException);
    }
    EXPECT_EQ(player->frameOffset(), 200'000);
    expectTrueAndUsable();
}

} // namespace
} // namespace kx::test
