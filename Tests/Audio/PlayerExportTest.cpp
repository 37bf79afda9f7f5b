#include "KXFW/Audio/KXAudioUtil.h"
#include "Tests/Audio/PlayerFixture.h"
#include "Tests/Support/CapturedLog.h"

#include <cstring>

namespace kx::test
{
namespace
{

class PlayerExportTest : public PlayerTest
{
protected:
    PlayerExportTest() { load(indexed(60000)); }

    std::filesystem::path destination = temporaryPath("out.aiff");
};

TEST_F(PlayerExportTest, WritesTheRangeInWholeSlicesUnlessItIsCancelled)
{
    struct Row {
        int64_t start;
        int64_t end;
        std::size_t slices;
        bool isCancelled;
        std::vector<std::string> log = {};
    };
    for (const Row &row : std::vector<Row>{{1000, 45100, 87, false},
                                           {59000, 60000, 2, false},
                                           {59000, 90000, 2, false, {"no frames read"}}, // an end beyond the data
                                           {500, 500, 0, false},
                                           {0, 60000, 0, true},
                                           {0, 60000, 117, true}}) {
        SCOPED_TRACE(testing::Message() << row.start << " to " << row.end);
        player->setLoop(row.isCancelled);
        player->setOffsetFramesPlay(0, row.start, row.end);
        player->prepareForExport();
        CapturedLog log;
        std::size_t asked = 0;
        const Outcome outcome =
            exportRange(player, destination, [&] { return row.isCancelled && asked++ == row.slices; });
        EXPECT_EQ(log.messages(), row.log);
        EXPECT_TRUE(outcome.completed);
        EXPECT_EQ(player->loop(), row.isCancelled) << "as it was";
        ASSERT_EQ(outcome.progress.size(), row.slices + (row.isCancelled || !row.log.empty() ? 1 : 0));
        for (std::size_t i = 0; i < row.slices; ++i)
            EXPECT_DOUBLE_EQ(outcome.progress[i],
                             static_cast<double>(i * 512 * 100) / static_cast<double>(row.end - row.start));
        auto frames = indicesOf(destination);
        ASSERT_EQ(frames.size(), row.slices * 512);
        const auto behind = frames.begin() + std::min<std::ptrdiff_t>(std::ssize(frames), 60000 - row.start);
        EXPECT_EQ(std::count(behind, frames.end(), 0), frames.end() - behind) << "silence behind the data";
        frames.erase(behind, frames.end());
        expectPasses(frames, frames.size(), row.start, 0, 60000);
    }
    player->setLoop(false);
    player->setOffsetFramesPlay(0, 10000, 5000);
    EXPECT_TRUE(exportRange(player, destination).completed) << "a range of nothing is no data that is missing";
    player->setOffsetFramesPlay(0, 59000, 90000);
    const auto changeTheRange = [&] {
        player->setEndOffsetInFrame(59001);
        return false;
    };
    exportRange(player, destination, changeTheRange, {.fromRangeStart = true, .exactFrames = true});
    EXPECT_EQ(indicesOf(destination).size(), 1000U) << "what there is of the range that it began with";
}

TEST_F(PlayerExportTest, OnlyWhatPlaysHasUnderruns)
{
    player->timer()->cancel();
    const auto source = KXAFilePlayerDataSource::dataSourceWithContentsOfURL(make(indexed(300'000)));
    KXAFiledAudioData2 &data = *source->audioData();
    readIndices(data);
    data.seek(0);
    ASSERT_TRUE(player->loadDataSource(source));
    auto format = GetStandardDescription();
    format.mSampleRate = 4 * 44100; // four times what is read ahead for a slice
    player->setInputDescription(format);
    const uint64_t before = data.underruns();
    EXPECT_GT(before, 0U);
    EXPECT_TRUE(exportRange(player, destination).completed);
    EXPECT_GT(data.underruns(), before);
    EXPECT_EQ(player->underruns(), 0U);
}

TEST_F(PlayerExportTest, AFailedExportLeavesThingsAsTheyWere)
{
    const auto folder = temporaryPath("folder");
    std::filesystem::create_directory(folder);
    const auto old = folder / "old.aiff";
    writeBytes(old, {1, 2, 3});
    CapturedLog quiet;
    EXPECT_NE(exportRange(player, folder / "no such folder" / "x.aiff").failure, "");
    EXPECT_NE(exportRange(player, folder).failure, "") << "a folder";
    player->prepareForExport();
    EXPECT_EQ(exportRange(player, old, []() -> bool { throw std::runtime_error("no more"); }).failure, "no more");
    EXPECT_EQ(readBytes(old), (std::vector<uint8_t>{1, 2, 3})) << "byte for byte";
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 1) << "and nothing beside it";
    EXPECT_TRUE(player->loop());
    EXPECT_TRUE(exportRange(player, old).completed) << "usable again";
    EXPECT_EQ(exportRange(KXAFilePlayer::player(), destination).failure, "no file is loaded");

    const uint32_t frames = 400'000'000; // at 8,000 Hz; nearly all of the file is a hole
    auto header = waveBytes(8000, 1, 8, {});
    std::memcpy(&header[40], &frames, sizeof frames);
    const auto file = fileOf("huge.wav", header);
    std::filesystem::resize_file(file, header.size() + frames);
    ASSERT_TRUE(player->loadFileAtURL(file));
    const Outcome outcome = exportRange(player, destination, [] { return true; });
    EXPECT_NE(outcome.failure, "") << "more than an AIFF file holds";
    EXPECT_EQ(outcome.progress.size(), 0U) << "a slice was rendered";
    EXPECT_FALSE(std::filesystem::exists(destination));
}

TEST_F(PlayerExportTest, RefusesOtherUsesMeanwhileAndThenMovesToTheDeviceThatWasChosen)
{
    const AudioUnit output = player->outputUnit();
    const auto refused = KXAFilePlayerDataSource::dataSourceWithContentsOfURL(make(indexed(100)));
    std::vector<std::string> refusals;
    CapturedLog quiet;
    player->prepareForExport();
    EXPECT_TRUE(exportRange(player, destination, [&] {
                    if (refusals.empty())
                        player->setOutputDeviceID(0);
                    EXPECT_TRUE(player->isExporting());
                    EXPECT_FALSE(player->play() || player->setPositionInFrame(30000) || player->setLoop(true) ||
                                 player->setEffect(nullptr) || player->setEffectMode(KXAEffectModeAU) ||
                                 player->setOffsetFramesPlay(1, 2, 3) || player->loadFileAtURL(make(indexed(100))) ||
                                 player->loadDataSource(refused) || player->prepareForExport() ||
                                 player->exportAsyncWithURL(
                                     "second.aiff", {}, [] { FAIL(); },
                                     [&](const NSException &exception) { refusals.push_back(exception.reason()); }));
                    EXPECT_EQ(player->outputUnit(), output) << "the device waits";
                    return refusals.size() > 118; // it would not end
                }).completed);
    EXPECT_EQ(refusals, std::vector<std::string>(118, "an export is running"));
    EXPECT_EQ(refused->audioData()->ringBuffer()->count(), 0U) << "read from";
    EXPECT_FALSE(player->isPlaying() || player->isExporting());
    EXPECT_EQ(player->playerParam()->mode(), KXAEffectModeNone);
    EXPECT_EQ(player->endOffsetInFrame(), 60000);
    EXPECT_NE(player->outputUnit(), output);
    const auto frames = indicesOf(destination);
    ASSERT_EQ(frames.size(), 118U * 512U);
    expectPasses(frames, 60000, 0, 0, 60000);
}

TEST_F(PlayerExportTest, WritesWhatIsPlayedOntoTheLoadedFileAndKeepsItsPlayerToTheEnd)
{
    std::filesystem::copy_file(make(indexed(5000)), destination);
    ASSERT_TRUE(player->loadFileAtURL(destination));
    player->play();
    advance(3000);
    player->prepareForExport();
    EXPECT_FALSE(player->isPlaying());
    EXPECT_TRUE(exportRange(player, destination, [&] {
                    player.reset();
                    return false;
                }).completed);
    const auto frames = indicesOf(destination);
    ASSERT_EQ(frames.size(), 5120U);
    expectPasses(frames, 5000, 0, 0, 5000);
}

} // namespace
} // namespace kx::test
