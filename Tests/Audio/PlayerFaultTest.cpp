// What happens when files fail, and what the render thread never does.
#include "Tests/Audio/PlayerFixture.h"
#include "Tests/Support/CapturedLog.h"
#include "Tests/Support/FailingDisk.h"
#include "Tests/Support/RenderGuard.h"

#include <optional>
#include <unistd.h>

using namespace kx::test;

namespace
{

constexpr int64_t kReadable = 100000; ///< frames before the disk fails

class PlayerFaultTest : public PlayerTest
{
protected:
    PlayerFaultTest()
    {
        load(300000);
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
    player->play();
    playOut();
    const auto frames = heard();
    ASSERT_GE(frames.size(), static_cast<std::size_t>(kReadable));
    expectPasses(frames, static_cast<std::size_t>(kReadable), 0, 0, kReadable + 1);
    EXPECT_EQ(player->frameOffset(), kReadable);
    ASSERT_TRUE(told->await());
    for (int tick = 0; tick < 10; ++tick)
        player->_timerFired(nullptr);
    EXPECT_EQ(told->count(), 1) << "ticks do not raise again";
    EXPECT_EQ(told->reason.rfind("-[KXAFiledAudioData2 prereadFrames:]_block_invoke:97", 0), 0U) << told->reason;
    disk.reset();
    load(5000);
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
    advance(35000);
    const auto frames = heard();
    int64_t expected = 90000;
    for (const int64_t frame : frames) {
        if (frame == 0) // the rest of a slice that met the end
            continue;
        ASSERT_EQ(frame, expected);
        expected = frame + 1 == kReadable ? 90000 : frame + 1;
    }
    EXPECT_GT(frames.size(), 30000U);
    EXPECT_TRUE(player->isPlaying());
    EXPECT_EQ(told->count(), 1);
}

TEST_F(PlayerFaultTest, AnExportOfAFailingFileFailsAndLeavesNothing)
{
    const auto destination = temporaryPath("never.aiff");
    Handshake ended;
    std::string failure;
    player->prepareForExport();
    player->exportAsyncWithURL(
        destination, {}, [&] { ended.announce(); },
        [&](const NSException &exception) {
            failure = exception.reason();
            ended.announce();
        });
    ASSERT_TRUE(ended.await());
    EXPECT_NE(failure, "");
    EXPECT_FALSE(std::filesystem::exists(destination));
    EXPECT_TRUE(player->loop());
}

TEST_F(PlayerTest, WhatAnAIFFFileCannotHoldIsRefusedBeforeTheFirstByte)
{
    // An RF64 file of 5 GB, nearly all of it a hole.
    const auto little = [](uint64_t value, int bytes) {
        std::string text;
        for (int i = 0; i < bytes; ++i)
            text.push_back(static_cast<char>(value >> (8 * i)));
        return text;
    };
    const uint64_t size = 5'000'000'000;
    const std::string header = "RF64" + little(0xffffffff, 4) + "WAVEds64" + little(28, 4) + little(size + 72, 8) +
                               little(size, 8) + little(size / 4, 8) + little(0, 4) + "fmt " + little(16, 4) +
                               little(1, 2) + little(2, 2) + little(44100, 4) + little(176400, 4) + little(4, 2) +
                               little(16, 2) + "data" + little(0xffffffff, 4);
    const auto file = fileOf("huge.wav", {header.begin(), header.end()});
    ASSERT_EQ(truncate(file.c_str(), static_cast<off_t>(size + header.size())), 0);
    ASSERT_TRUE(player->loadFileAtURL(file));
    EXPECT_EQ(player->totalPackets(), static_cast<int64_t>(size / 4));
    const auto destination = temporaryPath("huge.aiff");
    Handshake refused;
    CapturedLog quiet;
    player->exportAsyncWithURL(
        destination, [](double) { return ADD_FAILURE() << "a slice was rendered", true; }, [] { ADD_FAILURE(); },
        [&](const NSException &exception) {
            EXPECT_EQ(exception.userInfo().at("error").code, kAudioFileTooLargeError);
            refused.announce();
        });
    ASSERT_TRUE(refused.await());
    EXPECT_FALSE(std::filesystem::exists(destination));
}

TEST_F(PlayerTest, TheRenderThreadTakesNoMemoryAndNoLockInSteadyState)
{
    if (!RenderGuard::works())
        GTEST_SKIP() << "sanitizers own the allocator";
    load(400000);
    player->play();
    advance(20000);
    while (player->audioData()->prereadFrames(44100) > 0) {
    }
    const RenderGuard guard;
    advance(200000);
    EXPECT_TRUE(guard.isClean()) << guard;
    // A jump is made on this thread; the render thread only waits for it.
    player->setPositionInFrame(1000);
    advance(20000);
    EXPECT_TRUE(guard.isClean()) << guard;
}

} // namespace
