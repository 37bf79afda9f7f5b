#include "KXFW/Audio/KXAudioUtil.h"
#include "KXFW/Platform/AudioFiles/ExtendedAudioFile.h"
#include "Tests/Audio/PlayerFixture.h"
#include "Tests/Support/CapturedLog.h"

using namespace kx::test;

namespace
{

struct Outcome {
    bool completed = false;
    std::string failure;
    std::vector<double> progress;
};

class PlayerExportTest : public PlayerTest
{
protected:
    PlayerExportTest() { load(60000); }

    /// Exports the range and waits for the end; `stopAt` cancels before that slice.
    Outcome exportTo(const std::filesystem::path &url, std::size_t stopAt = SIZE_MAX)
    {
        Outcome outcome;
        Handshake ended;
        player->prepareForExport();
        player->exportAsyncWithURL(
            url,
            [&](double percent) {
                outcome.progress.push_back(percent);
                return outcome.progress.size() > stopAt;
            },
            [&] {
                outcome.completed = true;
                ended.announce();
            },
            [&](const NSException &exception) {
                outcome.failure = exception.what();
                ended.announce();
            });
        EXPECT_TRUE(ended.await());
        return outcome;
    }

    static std::vector<int64_t> framesIn(const std::filesystem::path &url)
    {
        const auto data = KXAFiledAudioData2::audioDataWithContentsOfURL(url);
        std::vector<int64_t> frames;
        if (data)
            for (const Frame frame : readAll(*data))
                frames.push_back(indexIn(frame));
        return frames;
    }

    std::filesystem::path destination = temporaryPath("out.aiff");
};

TEST_F(PlayerExportTest, WritesTheRangeInWholeSlices)
{
    player->setOffsetFramesPlay(0, 1000, 45100);
    const Outcome outcome = exportTo(destination);
    EXPECT_TRUE(outcome.completed);
    ASSERT_EQ(outcome.progress.size(), 87U);
    EXPECT_EQ(outcome.progress[0], 0.0);
    EXPECT_DOUBLE_EQ(outcome.progress[1], 512 * 100.0 / 44100);
    EXPECT_LT(outcome.progress.back(), 100.0);
    EXPECT_TRUE(player->loop()) << "as it was";
    const auto frames = framesIn(destination);
    ASSERT_EQ(frames.size(), 87U * 512U);
    expectPasses(frames, frames.size(), 1000, 0, 60000);
    player->setLoop(false);
    EXPECT_TRUE(exportTo(destination).completed) << "replaces the file";
    EXPECT_FALSE(player->loop());
}

TEST_F(PlayerExportTest, PadsTheLastSliceAtTheEndOfTheData)
{
    player->setOffsetFramesPlay(0, 59000, 60000);
    EXPECT_TRUE(exportTo(destination).completed);
    const auto frames = framesIn(destination);
    ASSERT_EQ(frames.size(), 1024U);
    expectPasses(frames, 1000, 59000, 0, 60000);
    for (std::size_t i = 1000; i < 1024; ++i)
        EXPECT_EQ(frames[i], 0);
    player->setOffsetFramesPlay(0, 59000, 90000);
    kx::test::CapturedLog log;
    EXPECT_TRUE(exportTo(destination).completed) << "an end beyond the data";
    EXPECT_EQ(log.messages(), std::vector<std::string>{"no frames read"});
    EXPECT_EQ(framesIn(destination).size(), 1024U);
}

TEST_F(PlayerExportTest, ACancelledExportIsAValidShorterFile)
{
    for (const std::size_t slices : {0U, 1U, 10U, 117U}) {
        const Outcome outcome = exportTo(destination, slices);
        EXPECT_TRUE(outcome.completed);
        const auto frames = framesIn(destination);
        ASSERT_EQ(frames.size(), slices * 512);
        expectPasses(frames, frames.size(), 0, 0, 60000);
        EXPECT_TRUE(player->loop());
    }
}

TEST_F(PlayerExportTest, AFailedExportLeavesThingsAsTheyWere)
{
    const auto old = fileOf("old.aiff", {1, 2, 3});
    kx::test::CapturedLog quiet;
    EXPECT_NE(exportTo(temporaryFolder() / "no such folder" / "x.aiff").failure, "");
    EXPECT_NE(exportTo(temporaryFolder()).failure, "") << "a folder";
    EXPECT_TRUE(player->loop());

    Handshake failed;
    player->prepareForExport();
    player->exportAsyncWithURL(
        old, [](double) -> bool { throw std::runtime_error("no more"); }, [] { FAIL() << "completed"; },
        [&](const NSException &exception) {
            EXPECT_EQ(exception.reason(), "no more");
            failed.announce();
        });
    ASSERT_TRUE(failed.await());
    EXPECT_EQ(readBytes(old), (std::vector<uint8_t>{1, 2, 3})) << "byte for byte";
    for (const auto &entry : std::filesystem::directory_iterator(temporaryFolder()))
        EXPECT_EQ(entry.path().filename().string().find(".kx-"), std::string::npos) << entry.path();
    EXPECT_TRUE(exportTo(old).completed) << "usable again";
}

TEST_F(PlayerExportTest, RefusesOtherUsesMeanwhile)
{
    std::string refusal;
    Handshake ended;
    const auto effect = player->effectUnit();
    kx::test::CapturedLog quiet;
    player->setOffsetFramesPlay(0, 0, 60000);
    player->prepareForExport();
    player->exportAsyncWithURL(
        destination,
        [&](double) {
            player->play();
            player->setPositionInFrame(30000);
            player->setLoop(true);
            player->setEffect(nullptr);
            player->setEffectMode(KXAEffectModeAU);
            player->setOffsetFramesPlay(1, 2, 3);
            EXPECT_FALSE(player->loadFileAtURL(make(indexed(100))));
            player->prepareForExport();
            player->exportAsyncWithURL(
                "second.aiff", {}, [] { FAIL(); }, [&](const NSException &exception) { refusal = exception.reason(); });
            return false;
        },
        [&] { ended.announce(); });
    ASSERT_TRUE(ended.await());
    EXPECT_EQ(refusal, "an export is running");
    EXPECT_FALSE(player->isPlaying());
    EXPECT_EQ(player->effectUnit(), effect);
    EXPECT_EQ(player->playerParam()->mode(), KXAEffectModeNone);
    const auto frames = framesIn(destination);
    ASSERT_EQ(frames.size(), 118U * 512U);
    expectPasses(frames, 60000, 0, 0, 60000);
    EXPECT_FALSE(std::filesystem::exists("second.aiff"));
}

TEST_F(PlayerExportTest, WritesOntoTheLoadedFileAndWhatIsPlayed)
{
    const auto file = temporaryPath("both.wav");
    std::filesystem::copy_file(make(indexed(5000)), file);
    ASSERT_TRUE(player->loadFileAtURL(file));
    player->play();
    advance(5000);
    const auto played = heard();
    EXPECT_TRUE(exportTo(file).completed) << "playing is stopped by the preparation";
    const auto exported = framesIn(file);
    ASSERT_EQ(exported.size(), 5120U);
    EXPECT_TRUE(std::equal(exported.begin(), exported.begin() + 5000, played.begin()));
    std::filesystem::remove(file);
}

TEST_F(PlayerExportTest, WithoutAFileOrARangeThereIsNothingToWrite)
{
    player->setOffsetFramesPlay(0, 500, 500);
    EXPECT_TRUE(exportTo(destination).completed);
    EXPECT_EQ(framesIn(destination).size(), 0U) << "a valid empty file";
    const auto empty = KXAFilePlayer::player();
    std::string reason;
    empty->exportAsyncWithURL(destination, {}, {}, [&](const NSException &exception) { reason = exception.reason(); });
    EXPECT_EQ(reason, "no file is loaded");
}

TEST_F(PlayerExportTest, DeviceChangesWaitForTheEnd)
{
    auto &system = kx::VirtualHardware::instance();
    system.setDevices({{"Virtual Output"}, {"other"}});
    const AudioUnit before = player->outputUnit();
    const auto changed = std::make_shared<Handshake>();
    player->setOutputRebuiltBlock([changed] { changed->announce(); });
    AudioUnit during = nullptr;
    Outcome outcome;
    Handshake ended;
    player->prepareForExport();
    player->exportAsyncWithURL(
        destination,
        [&](double percent) {
            if (percent == 0.0)
                player->setOutputDeviceID(0);
            during = player->outputUnit();
            return false;
        },
        [&] { ended.announce(); });
    ASSERT_TRUE(ended.await());
    EXPECT_EQ(during, before);
    EXPECT_TRUE(changed->await());
    EXPECT_NE(player->outputUnit(), before);
}

TEST_F(PlayerExportTest, AnExportKeepsItsPlayerToTheEnd)
{
    Handshake ended;
    player->prepareForExport();
    player->exportAsyncWithURL(
        destination,
        [&](double) {
            player.reset();
            return false;
        },
        [&] { ended.announce(); });
    ASSERT_TRUE(ended.await());
    EXPECT_EQ(framesIn(destination).size(), 118U * 512U);
    player = KXAFilePlayer::player();
}

} // namespace
