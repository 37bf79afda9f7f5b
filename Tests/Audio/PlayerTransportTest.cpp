#include "KXFW/Audio/KXAHardwareManager.h"
#include "KXFW/Audio/KXAudioUtil.h"
#include "Tests/Audio/PlayerFixture.h"
#include "Tests/Support/CapturedLog.h"

using namespace kx::test;

namespace
{

TEST_F(PlayerTest, IsReadyAndSilentWhenMade)
{
    EXPECT_FALSE(player->isPlaying());
    EXPECT_EQ(player->audioData(), nullptr);
    EXPECT_TRUE(player->loop());
    EXPECT_EQ(player->startOffset() | player->endOffset() | player->byteOffset(), 0);
    EXPECT_EQ(player->playerParam()->mode(), KXAEffectModeNone);
    EXPECT_EQ(player->inputDescription().mFormatFlags, GetStandardDescription().mFormatFlags);
    EXPECT_EQ(player->playerParam()->inputDesc().mBytesPerFrame, 4U);
    EXPECT_EQ(player->volume(), 1.0F);
    EXPECT_EQ(player->outputDeviceID(), KXAHardwareManager::defaultOutputDeviceID());
    EXPECT_EQ(player->totalPackets(), 0);
    EXPECT_EQ(player->playerParam()->postUnit(), player->preConverterUnit());
    player->_timerFired(nullptr);
    player->play();
    EXPECT_FALSE(player->isPlaying()) << "nothing to play";
    player->setPositionInFrame(100);
    EXPECT_EQ(player->byteOffset(), 0);
    EXPECT_EQ(kx::VirtualHardware::instance().openStreams(), 0U) << "the device is opened by play only";
}

TEST_F(PlayerTest, PlaysTheFileBitForBitAndStopsAtItsEnd)
{
    load(20000);
    EXPECT_EQ(player->endOffset(), 80000);
    EXPECT_EQ(player->totalPackets(), 20000);
    player->setLoop(false);
    player->play();
    EXPECT_TRUE(player->isPlaying());
    EXPECT_EQ(player->playerParam()->outputUnit(), player->outputUnit());
    playOut();
    const auto frames = heard();
    expectPasses(frames, 20000, 0, 0, 20000);
    for (std::size_t i = 20000; i < frames.size(); ++i)
        ASSERT_EQ(frames[i], 0) << "silence after the end";
    EXPECT_EQ(player->frameOffset(), 20000);
    player->stop();
    player->setPositionInFrame(0);
    player->play();
    advance(1000);
    player->stop();
    expectPasses(heard(), 1000, 0, 0, 20000);
}

TEST_F(PlayerTest, StopIsABarrier)
{
    load(400000);
    for (int round = 0; round < 100; ++round) {
        player->play();
        advance(64);
        player->stop();
        const int64_t position = player->byteOffset();
        const std::size_t count = heard().size();
        EXPECT_GE(count, 64U);
        kx::VirtualHardware::instance().advance(512);
        EXPECT_EQ(player->byteOffset(), position);
        EXPECT_TRUE(heard().empty());
    }
}

TEST_F(PlayerTest, LoadsAnotherFileWhilePlaying)
{
    load(300000);
    player->play();
    advance(5000);
    for (int round = 0; round < 20; ++round) {
        ASSERT_TRUE(player->loadFileAtURL(make(indexed(100000 + round % 2))));
        advance(700);
    }
    EXPECT_TRUE(player->isPlaying());
    EXPECT_EQ(player->totalPackets(), 100001);
    EXPECT_LT(player->frameOffset(), 20000);
    kx::test::CapturedLog quiet;
    EXPECT_FALSE(player->loadFileAtURL("/nowhere.wav"));
    EXPECT_EQ(player->dataSource(), nullptr);
    EXPECT_EQ(player->endOffset() | player->byteOffset(), 0);
    heard();
    advance(4096);
    for (const int64_t frame : heard())
        EXPECT_EQ(frame, 0) << "silence";
    player->stop();
    player->play();
    EXPECT_FALSE(player->isPlaying());
    load(5000);
    player->play();
    EXPECT_TRUE(player->isPlaying());
}

TEST_F(PlayerTest, JumpsWithinTheRangeAndTheFile)
{
    load(441000);
    const auto jump = [&](int64_t byte) {
        player->setPositionInByte(byte);
        return player->byteOffset();
    };
    player->setStartOffset(40000);
    player->setEndOffset(80000);
    EXPECT_EQ(jump(100000), 40000);
    EXPECT_EQ(jump(20000), 40000);
    EXPECT_EQ(jump(80000), 80000) << "the end itself is allowed";
    EXPECT_EQ(jump(60000), 60000);
    player->setOffsetFramesPlay(500, 100, 1000);
    EXPECT_EQ(player->startOffsetInFrame(), 100);
    EXPECT_EQ(player->endOffset(), 4000);
    EXPECT_EQ(player->byteOffset(), 2000);
    player->setLoop(false);
    EXPECT_EQ(jump(2000000), 1764000);
    EXPECT_EQ(jump(-5), 0);
    EXPECT_EQ(jump(4001), 4001);
    EXPECT_EQ(player->frameOffset(), 1000);
    player->setEndOffsetInFrame(50);
    player->setStartOffsetInFrame(60);
    EXPECT_EQ(player->endOffset(), 200) << "an end below the start is stored as it is";
    player->play();
    EXPECT_FALSE(player->isPlaying()) << "an empty range";
}

TEST_F(PlayerTest, RangeLoopAndPositionChangeWhilePlaying)
{
    load(400000);
    player->play();
    advance(2000);
    player->setOffsetFramesPlay(100000, 100000, 150000);
    heard();
    advance(60000);
    const auto frames = heard();
    const auto first = std::find(frames.begin(), frames.end(), 100000);
    ASSERT_NE(first, frames.end());
    ASSERT_LT(first - frames.begin(), 4096) << "soon";
    expectPasses({first, frames.end()}, static_cast<std::size_t>(frames.end() - first), 100000, 100000, 150000);
    player->setLoop(false);
    advance(90000);
    EXPECT_GT(player->frameOffset(), 150000) << "without loop the end of the range is passed";
}

TEST_F(PlayerTest, VolumeGoesToTheUnitAndIsItsOwnAfterARebuild)
{
    player->setVolume(0.5F);
    float gain = 0;
    AudioUnitGetParameter(player->outputUnit(), kHALOutputParam_Volume, kAudioUnitScope_Global, 0, &gain);
    EXPECT_EQ(gain, 0.5F);
    player->setVolume(7.0F);
    AudioUnitGetParameter(player->outputUnit(), kHALOutputParam_Volume, kAudioUnitScope_Global, 0, &gain);
    EXPECT_EQ(gain, 1.0F) << "limited by the unit";
    EXPECT_THROW(player->setVolume(std::numeric_limits<float>::quiet_NaN()), NSException);
    player->setVolume(0.25F);
    player->setOutputDeviceID(0);
    EXPECT_EQ(player->volume(), 1.0F);
}

TEST_F(PlayerTest, ObservesItsOwnInputDescription)
{
    auto format = GetStandardDescription();
    format.mSampleRate = 48000;
    player->setInputDescription(format);
    EXPECT_EQ(player->playerParam()->inputDesc().mSampleRate, 48000);
    AudioStreamBasicDescription unit{};
    uint32_t size = sizeof unit;
    AudioUnitGetProperty(player->preConverterUnit(), kAudioUnitProperty_StreamFormat, kAudioUnitScope_Input, 0, &unit,
                         &size);
    EXPECT_EQ(unit.mSampleRate, 48000);
}

TEST_F(PlayerTest, EndsSafelyOnAnyThreadAtAnyTime)
{
    for (int round = 0; round < 60; ++round) {
        auto other = KXAFilePlayer::player();
        ASSERT_TRUE(other->loadFileAtURL(make(indexed(50000))));
        other->play();
        kx::VirtualHardware::instance().advance(static_cast<uint32_t>(round * 7));
        std::thread([last = std::move(other)]() mutable { last.reset(); }).join();
        // A tick of its timer may hold it a moment longer.
        EXPECT_TRUE(eventually([] { return kx::VirtualHardware::instance().openStreams() == 0; }));
    }
}

TEST_F(PlayerTest, ManyThreadsMayDriveOnePlayer)
{
    load(300000);
    std::atomic<bool> done{false};
    std::vector<std::thread> threads;
    const auto repeat = [&](auto action) {
        threads.emplace_back([&done, action] {
            for (int i = 0; i < 40 && !done; ++i)
                action(i);
        });
    };
    repeat([&](int) { player->play(); });
    repeat([&](int i) { player->setPositionInFrame(i * 1000); });
    repeat([&](int i) { i % 2 == 0 ? player->stop() : player->setEffectMode(static_cast<uint64_t>(i % 3)); });
    repeat([&](int i) { player->setOffsetFramesPlay(i, i, i + 500); });
    repeat([&](int i) { (void)player->loadFileAtURL(make(indexed(40000 + i % 3))); });
    repeat([&](int) { (void)kx::VirtualHardware::instance().advance(300); });
    for (auto &thread : threads)
        thread.join();
    player->stop();
    const int64_t position = player->byteOffset();
    kx::VirtualHardware::instance().advance(512);
    EXPECT_EQ(player->byteOffset(), position);
}

} // namespace
