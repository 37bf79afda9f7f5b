// What happens when files fail.
#include "Tests/Audio/PlayerFixture.h"
#include "Tests/Support/CapturedLog.h"
#include "Tests/Support/FailingDisk.h"

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
