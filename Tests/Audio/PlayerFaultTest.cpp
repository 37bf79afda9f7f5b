// What fails, hangs or is not to be had leaves a player usable, and true in what it says of itself.
#include "KXFW/Audio/KXAHardwareManager.h"
#include "KXFW/Audio/KXAudioUtil.h"
#include "KXFW/Audio/Player/PlayerEngine.h"
#include "KXFW/Platform/AudioUnits/AVAudioUnitTimePitch.h"
#include "Tests/Audio/PlayerFixture.h"
#include "Tests/Support/CapturedLog.h"
#include "Tests/Support/FailingDisk.h"
#include "Tests/Support/FailingResources.h"
#include "Tests/Support/RenderGuard.h"

#include <cstring>
#include <optional>

namespace kx::test
{
namespace
{

constexpr int64_t kReadable = 100000; ///< frames before the disk fails

class PlayerFaultTest : public PlayerTest
{
protected:
    PlayerFaultTest() { load(indexed(400'000)); }

    /// What it says of playing is so, and it plays from where it says.
    void expectTrueAndUsable()
    {
        uint32_t runs = 0;
        uint32_t size = sizeof runs;
        AudioUnitGetProperty(player->outputUnit(), kAudioOutputUnitProperty_IsRunning, kAudioUnitScope_Global, 0, &runs,
                             &size); // or there is no unit
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
    std::optional<FailingDisk> disk;
};

TEST_F(PlayerFaultTest, AFailingFileIsPlayedAsFarAsItGoesAndToldOnce)
{
    const auto told = std::make_shared<Handshake>();
    player->setPlaybackFailureBlock([told](const NSException &exception) {
        EXPECT_TRUE(exception.reason().starts_with("-[KXAFiledAudioData2 prereadFrames:]_block_invoke:97"));
        EXPECT_EQ(exception.name(), "_ASSERT_NOERR failed exception");
        told->announce();
    });
    disk.emplace(44 + 4 * kReadable);
    player->setLoop(false);
    expectPasses(playOut(), static_cast<std::size_t>(kReadable), 0, 0, kReadable + 1);
    EXPECT_EQ(player->frameOffset(), kReadable);
    ASSERT_TRUE(told->await());
    for (int tick = 0; tick < 10; ++tick)
        player->_timerFired(nullptr);
    EXPECT_EQ(told->count(), 1) << "ticks do not raise again";
    disk.reset();
    load(indexed(300000));
    player->play();
    advance(1000);
    EXPECT_TRUE(player->isPlaying()) << "another file plays";
    player->stop();

    disk.emplace(44 + 4 * kReadable);
    player->setLoop(true);
    player->setOffsetFramesPlay(90000, 90000, 200000);
    player->_timerFired(nullptr); // the failure is met here; where the render thread meets it first, playback stops
    ASSERT_TRUE(told->await(2));
    player->play();
    auto frames = advance(35000);
    std::erase(frames, 0); // the rest of a slice that met the end
    EXPECT_GT(frames.size(), 30000U) << "a loop goes on with what exists";
    expectPasses(frames, frames.size(), 90000, 90000, kReadable);
    EXPECT_EQ(told->count(), 2);
}

TEST_F(PlayerFaultTest, ALoadTellsWhatFailedBeforeWithNoLockHeld)
{
    player->timer()->cancel();
    Handshake used;
    std::thread other;
    player->setPlaybackFailureBlock([&](KXAFilePlayer &it, const NSException &) {
        other = std::thread([&] {
            it.setVolume(0.5F);
            used.announce();
        });
        EXPECT_TRUE(used.await());
    });
    disk.emplace(44 + 4 * kReadable);
    player->setLoop(false);
    playOut();
    disk.reset();
    load(indexed(300000));
    ASSERT_TRUE(other.joinable()) << "not told";
    other.join();
}

TEST_F(PlayerFaultTest, AnExportOfAFailingFileFailsAndLeavesNothing)
{
    const auto destination = temporaryPath("never.aiff");
    disk.emplace(44 + 4 * kReadable);
    EXPECT_THROW(player->setPositionInFrame(200'000), NSException);
    EXPECT_EQ(player->frameOffset(), 200'000);
    disk.reset();
    expectTrueAndUsable(); // the seek is made up for
    load(indexed(400'000));
    disk.emplace(44 + 4 * kReadable);
    for (const char *met : {"in the export", "before"}) {
        SCOPED_TRACE(met);
        player->prepareForExport();
        EXPECT_NE(exportRange(player, destination).failure, "");
        EXPECT_FALSE(std::filesystem::exists(destination));
        EXPECT_TRUE(player->loop());
    }
}

/// Every operation, playing and stopped: no thread is to be had, or one of its allocations fails, each in turn.
TEST_F(PlayerFaultTest, IsTrueAfterAnyOperationThatHadNoThreadOrMemory)
{
    const auto other = make(indexed(300'000));
    const auto destination = temporaryPath("state.aiff");
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
        {"export", [&] { exportRange(player, destination, [] { return true; }); }},
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
                if (player->totalPackets() == 0) // told by the load's result
                    load(indexed(400'000));
                if (player->outputDeviceID() == 0) // told by just that: the default could not be asked for
                    player->setOutputDeviceID(0);
                ASSERT_NO_FATAL_FAILURE(expectTrueAndUsable());
            }
        }
    }
}

TEST_F(PlayerFaultTest, AUnitThatRefusesIsTold)
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

    player->play();
    player->setOutputRebuiltBlock([this] { player->stop(); });
    player->_handleHardwarePropertyChange(kAudioHardwarePropertyDefaultOutputDevice);
    EXPECT_FALSE(player->isPlaying()) << "a stop from the block of a rebuilt output holds";

    const int64_t position = player->frameOffset();
    std::vector<uint32_t> frames(1024, 0xEEEEEEEE);
    AudioBuffer buffer{2, 64, frames.data()}; // the format may change between the chain's request and the read
    engineOf(*player).source.render({}, 512, buffer);
    EXPECT_EQ(player->frameOffset(), position + 16);
    EXPECT_EQ(std::count(frames.begin(), frames.end(), 0xEEEEEEEE), 1024 - 16);
}

TEST_F(PlayerFaultTest, APositionThatIsRefusedLeavesTheRangeToo)
{
    player->byteOffsetChangeQueue()->sync([&] { EXPECT_THROW(player->setOffsetFramesPlay(1, 2, 3), NSException); });
    EXPECT_EQ(player->startOffsetInFrame(), 0);
    EXPECT_EQ(player->endOffsetInFrame(), 400'000);
}

TEST_F(PlayerFaultTest, ADeviceThatIsNotThereOrOnlyRecordsIsToldAndLeftAlone)
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
        }
        return true;
    };
    refuseBoth();
    expectTrueAndUsable();
    EXPECT_TRUE(exportRange(player, temporaryPath("device.aiff"), refuseBoth).completed);
    EXPECT_EQ(player->outputDeviceID(), speaker);
}

/// A copy of an encoded file of 1,000,000 frames, loaded by a player that no timer helps, and then cut to a part.
class CutFileTest : public PlayerTest, public testing::WithParamInterface<Codec>
{
protected:
    static constexpr int64_t kFrames = 1000000;

    void loadAndCut()
    {
        player->timer()->cancel();
        std::filesystem::remove(file);
        std::filesystem::copy_file(make({.codec = GetParam(), .frames = kFrames, .signal = Signal::Noise}), file);
        ASSERT_TRUE(player->loadFileAtURL(file));
        std::filesystem::resize_file(file, std::filesystem::file_size(file) * 6 / 10);
    }

    CapturedLog quiet;
    std::filesystem::path file = temporaryPath("cut");
};

TEST_P(CutFileTest, IsAFailureToldOnceWhilePlayingAndInAnExport)
{
    loadAndCut();
    int told = 0;
    player->setPlaybackFailureBlock([&](const NSException &) { ++told; });
    player->setLoop(false);
    playOut();
    player->_timerFired(nullptr);
    EXPECT_EQ(told, 1);
    EXPECT_GT(player->frameOffset(), kFrames / 2) << "what there is";
    EXPECT_LT(player->frameOffset(), kFrames * 7 / 10);

    loadAndCut();
    EXPECT_ANY_THROW(player->setPositionInFrame(kFrames - 10));
    EXPECT_EQ(player->heardFrame().frame, player->frameOffset());

    loadAndCut();
    const auto old = fileOf("old.aiff", {1, 2, 3});
    player->prepareForExport();
    EXPECT_NE(exportRange(player, old).failure, "");
    EXPECT_EQ(readBytes(old), (std::vector<uint8_t>{1, 2, 3}));
}

INSTANTIATE_TEST_SUITE_P(Containers, CutFileTest,
                         testing::Values(Codec::WAV, Codec::AIFF, Codec::FLAC, Codec::Vorbis, Codec::MP3, Codec::AAC));

TEST_F(PlayerTest, StartsWithoutDecodingOnTheRenderThread)
{
    player->timer()->cancel();
    for (const int64_t start : {0, 60000}) { // behind the position: play goes there
        load({.codec = Codec::AAC, .frames = 100000});
        player->setStartOffsetInFrame(start);
        player->play();
        const RenderGuard guard;
        advance(20000);
        EXPECT_TRUE(guard.isClean()) << guard;
        EXPECT_EQ(player->audioData()->underruns(), 0U) << "from " << start;
        player->stop();
    }
}

/// Nothing here lets the disk go on while a call is under way, so that one that waits for it hangs the test.
class HungDiskTest : public PlayerTest, public testing::WithParamInterface<Media>
{
protected:
    static constexpr int64_t kFrames = 600000; ///< of 44,100 Hz
    static constexpr int64_t kTarget = 300001;

    HungDiskTest() { player->timer()->cancel(); }

    /// Plays until `frames` frames of the file have been heard, and gives them: what is silent is left out.
    std::vector<int64_t> hear(std::size_t frames)
    {
        std::vector<int64_t> sound;
        for (const Deadline deadline; sound.size() < frames && player->isPlaying() && !deadline.passed();) {
            const auto some = advance(512);
            std::ranges::remove_copy(some, std::back_inserter(sound), 0);
        }
        EXPECT_GE(sound.size(), frames);
        return sound;
    }

    CapturedLog quiet;
    std::optional<HeldFile> disk;
};

TEST_P(HungDiskTest, CallsReturnTheSoundPausesAndGoesOnWhereItWasSought)
{
    const auto file = make(GetParam());
    std::vector<int64_t> all = indicesOf(file);
    load(GetParam());
    player->setLoop(GetParam().codec != Codec::AIFF);
    player->play();
    hear(1000);
    disk.emplace(file);
    advance(220000); // more than is read ahead
    const int64_t reached = player->frameOffset();
    EXPECT_GE(reached, 44100);
    EXPECT_LT(reached, 220000);
    const uint64_t underruns = player->underruns();
    heard();
    const auto silence = advance(2048);
    EXPECT_EQ(std::ranges::count(silence, 0), std::ssize(silence));
    EXPECT_GE(player->underruns(), underruns + 4);
    EXPECT_EQ(player->frameOffset(), reached) << "only what is heard moves it";
    EXPECT_TRUE(player->isPlaying());

    player->_timerFired(nullptr);
    player->setPositionInFrame(1000);
    player->setPositionInFrame(kTarget);
    player->stop();
    EXPECT_EQ(player->heardFrame().frame, kTarget);
    player->play();
    EXPECT_FALSE(KXAFilePlayer::player()->loadFileAtURL(file)) << "it gives nothing";
    heard();
    EXPECT_EQ(player->frameOffset(), kTarget);
    disk.reset();
    all.erase(all.begin(), all.begin() + kTarget);
    std::erase(all, 0);
    expectSamples(hear(50000), all, GetParam().rate == 44100 ? 0 : 1);
    load(GetParam());
    EXPECT_GE(player->underruns(), underruns + 4) << "of the file before";
}

INSTANTIATE_TEST_SUITE_P(Containers, HungDiskTest,
                         testing::Values(Media{.frames = 600000}, Media{.rate = 22050, .frames = 300000},
                                         Media{.codec = Codec::AIFF, .frames = 600000},
                                         Media{.codec = Codec::FLAC, .frames = 600000},
                                         Media{.codec = Codec::Vorbis, .frames = 600000, .signal = Signal::Noise},
                                         Media{.codec = Codec::MP3, .frames = 600000},
                                         Media{.codec = Codec::AAC, .frames = 600000}));

TEST_F(HungDiskTest, AnotherFileIsLoadedAnExportWaitsAndThePlayerEnds)
{
    const auto file = make(indexed(kFrames));
    load(indexed(kFrames));
    player->play();
    disk.emplace(file);
    player->setPositionInFrame(kTarget);
    load(indexed(5000));
    expectPasses(hear(4999), 4999, 1, 1, 5000);
    disk.reset();

    const auto destination = temporaryPath("late.aiff");
    Handshake ended;
    load(indexed(kFrames));
    disk.emplace(file);
    player->prepareForExport();
    player->exportAsyncWithURL(destination, {}, [&] { ended.announce(); });
    EXPECT_TRUE(eventually([] { return HeldFile::waiting() > 1; })) << "the jump's read, and its own";
    player->setPositionInFrame(7);
    player->stop();
    player->setVolume(0.5F);
    EXPECT_EQ(ended.count(), 0);
    disk.reset();
    EXPECT_TRUE(ended.await());
    expectPasses(indicesOf(destination), kFrames, 0, 0, kFrames);
    disk.emplace(file);
    player->setPositionInFrame(kTarget);
    player.reset();
}

} // namespace
} // namespace kx::test
