// What happens when files fail.
#include "Tests/Audio/PlayerFixture.h"
#include "Tests/Support/CapturedLog.h"
#include "Tests/Support/FailingDisk.h"
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
    PlayerFaultTest()
    {
        load(indexed(300000));
        disk.emplace(44 + 4 * kReadable);
        player->setPlaybackFailureBlock([told = told](const NSException &exception) {
            told->reason = exception.reason();
            told->announce();
        });
    }

    CapturedLog quiet;
    std::optional<FailingDisk> disk;
    struct Told : Handshake {
        std::string reason; ///< of the last failure
    };
    std::shared_ptr<Told> told = std::make_shared<Told>();
};

TEST_F(PlayerFaultTest, AFailingFileIsPlayedAsFarAsItGoesAndToldOnce)
{
    player->setLoop(false);
    expectPasses(playOut(), static_cast<std::size_t>(kReadable), 0, 0, kReadable + 1);
    EXPECT_EQ(player->frameOffset(), kReadable);
    ASSERT_TRUE(told->await());
    for (int tick = 0; tick < 10; ++tick)
        player->_timerFired(nullptr);
    EXPECT_EQ(told->count(), 1) << "ticks do not raise again";
    EXPECT_TRUE(told->reason.starts_with("-[KXAFiledAudioData2 prereadFrames:]_block_invoke:97")) << told->reason;
    disk.reset();
    load(indexed(5000));
    player->play();
    advance(1000);
    EXPECT_TRUE(player->isPlaying()) << "another file plays";
}

TEST_F(PlayerFaultTest, ALoopGoesOnWithWhatExists)
{
    player->setOffsetFramesPlay(90000, 90000, 200000);
    player->_timerFired(nullptr); // the failure is met here; where the render thread meets it first, playback stops
    ASSERT_TRUE(told->await());
    player->play();
    auto frames = advance(35000);
    std::erase(frames, 0); // the rest of a slice that met the end
    EXPECT_GT(frames.size(), 30000U);
    expectPasses(frames, frames.size(), 90000, 90000, kReadable);
    EXPECT_TRUE(player->isPlaying());
    EXPECT_EQ(told->count(), 1);
}

TEST_F(PlayerFaultTest, AnExportOfAFailingFileFailsAndLeavesNothing)
{
    const auto destination = temporaryPath("never.aiff");
    for (const char *met : {"in the export", "before"}) {
        SCOPED_TRACE(met);
        player->prepareForExport();
        EXPECT_NE(exportRange(player, destination).failure, "");
        EXPECT_FALSE(std::filesystem::exists(destination));
        EXPECT_TRUE(player->loop());
    }
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
    player->_timerFired(nullptr);
    EXPECT_EQ(told, 1);
    EXPECT_GT(player->frameOffset(), kFrames / 2) << "what there is";
    EXPECT_LT(player->frameOffset(), kFrames * 7 / 10);

    loadAndCut();
    EXPECT_ANY_THROW(player->setPositionInFrame(kFrames - 10));
    EXPECT_EQ(player->heardFrame().frame, player->frameOffset());

    loadAndCut();
    const auto folder = temporaryPath("folder");
    std::filesystem::create_directory(folder);
    writeBytes(folder / "old.aiff", {1, 2, 3});
    player->prepareForExport();
    EXPECT_NE(exportRange(player, folder / "old.aiff").failure, "");
    EXPECT_EQ(readBytes(folder / "old.aiff"), (std::vector<uint8_t>{1, 2, 3}));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 1);
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

TEST_F(PlayerTest, WhatAnAIFFFileCannotHoldIsRefusedBeforeTheFirstByte)
{
    const uint32_t frames = 400'000'000; // at 8,000 Hz; nearly all of the file is a hole
    auto header = waveBytes(8000, 1, 8, {});
    std::memcpy(&header[40], &frames, sizeof frames);
    const auto file = fileOf("huge.wav", header);
    std::filesystem::resize_file(file, header.size() + frames);
    ASSERT_TRUE(player->loadFileAtURL(file));
    EXPECT_EQ(player->totalPackets(), frames * 441LL / 80);
    const auto destination = temporaryPath("huge.aiff");
    CapturedLog quiet;
    const Outcome outcome = exportRange(player, destination, [] { return true; });
    EXPECT_NE(outcome.failure, "");
    EXPECT_EQ(outcome.progress.size(), 0U) << "a slice was rendered";
    EXPECT_FALSE(std::filesystem::exists(destination));
}

} // namespace
} // namespace kx::test
