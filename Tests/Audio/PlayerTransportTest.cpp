// Playing, stopping, jumping, ranges and loops, and all of them at once.
#include "KXFW/Audio/KXAudioUtil.h"
#include "Tests/Audio/PlayerFixture.h"
#include "Tests/Support/CapturedLog.h"

namespace kx::test
{
namespace
{

TEST_F(PlayerTest, PlaysTheFileBitForBitAndStopsAtItsEnd)
{
    player->_timerFired(nullptr);
    player->setPositionInFrame(100);
    player->play();
    EXPECT_FALSE(player->isPlaying()) << "nothing to play";
    EXPECT_EQ(player->byteOffset() | player->totalPackets(), 0);
    EXPECT_EQ(hardware->openStreams(), 0U) << "the device is opened by play only";

    load(indexed(20000));
    EXPECT_EQ(player->endOffset(), 80000);
    player->setLoop(false);
    const auto frames = playOut();
    expectPasses(frames, 20000, 0, 0, 20000);
    EXPECT_EQ(std::count(frames.begin() + 20000, frames.end(), 0), std::ssize(frames) - 20000) << "silence behind it";
    EXPECT_EQ(player->frameOffset(), 20000);
    player->setPositionInFrame(0);
    player->play();
    expectPasses(advance(1000), 1000, 0, 0, 20000);
}

TEST_F(PlayerTest, StopIsABarrier)
{
    load(indexed(400000));
    for (int round = 0; round < 100; ++round) {
        player->play();
        EXPECT_GE(advance(64).size(), 64U);
        player->stop();
        heard();
        const int64_t position = player->byteOffset();
        hardware->advance(512);
        EXPECT_EQ(player->byteOffset(), position);
        EXPECT_TRUE(heard().empty());
    }
}

TEST_F(PlayerTest, LoadsAnotherFileWhilePlaying)
{
    load(indexed(300000));
    player->play();
    advance(5000);
    for (int round = 0; round < 20; ++round) {
        load(indexed(100000 + round % 2));
        advance(700);
    }
    EXPECT_TRUE(player->isPlaying());
    EXPECT_EQ(player->totalPackets(), 100001);
    EXPECT_LT(player->frameOffset(), 20000);
    std::stop_source cancelled;
    cancelled.request_stop();
    EXPECT_FALSE(player->loadFileAtURL(make(indexed(50000)), cancelled.get_token()));
    EXPECT_EQ(player->totalPackets(), 100001) << "what was loaded stays";
    EXPECT_TRUE(player->isPlaying());
    CapturedLog quiet;
    EXPECT_FALSE(player->loadFileAtURL("/nowhere.wav"));
    EXPECT_EQ(player->endOffset() | player->byteOffset(), 0);
    advance(512); // of what was on its way
    const auto silent = advance(4096);
    EXPECT_EQ(std::count(silent.begin(), silent.end(), 0), std::ssize(silent));
    player->stop();
    player->play();
    EXPECT_FALSE(player->isPlaying());
    load(indexed(5000));
    player->play();
    EXPECT_TRUE(player->isPlaying());
}

TEST_F(PlayerTest, JumpsWithinTheRangeAndTheFileAlsoWhilePlaying)
{
    load(indexed(441000));
    const auto jump = [&](int64_t byte) {
        player->setPositionInByte(byte);
        return player->byteOffset();
    };
    player->setStartOffset(40000);
    player->setEndOffset(80000);
    EXPECT_EQ(jump(80001), 40000);
    EXPECT_EQ(jump(39999), 40000);
    EXPECT_EQ(jump(80000), 80000) << "the end itself is allowed";
    player->setOffsetFramesPlay(500, 100, 1000);
    EXPECT_EQ(player->startOffset(), 400);
    EXPECT_EQ(player->endOffset(), 4000);
    EXPECT_EQ(player->byteOffset(), 2000);
    player->setLoop(false);
    EXPECT_EQ(jump(2000000), 1764000);
    EXPECT_EQ(jump(-5), 0);
    EXPECT_EQ(jump(4001), 4001);
    EXPECT_EQ(player->frameOffset(), 1000);
    player->setEndOffsetInFrame(50);
    player->setStartOffsetInFrame(60);
    player->play();
    EXPECT_FALSE(player->isPlaying()) << "an empty range";

    player->setLoop(true);
    player->setOffsetFramesPlay(0, 0, 441000);
    player->play();
    advance(2000);
    player->setOffsetFramesPlay(100000, 100000, 150000);
    const auto frames = advance(60000);
    const auto first = std::find(frames.begin(), frames.end(), 100000);
    ASSERT_LT(first - frames.begin(), 4096) << "soon";
    expectPasses({first, frames.end()}, static_cast<std::size_t>(frames.end() - first), 100000, 100000, 150000);
    player->setLoop(false);
    advance(90000);
    EXPECT_GT(player->frameOffset(), 150000) << "without loop the end of the range is passed";
}

/// N passes of a range are N copies of it, whatever the file holds.
TEST_F(PlayerTest, PassesAreCopiesInEveryFormat)
{
    constexpr int64_t kStart = 12345;
    for (const MediaSpec &spec :
         {MediaSpec{.frames = 90000}, MediaSpec{.codec = Codec::MP3, .frames = 90000},
          MediaSpec{.codec = Codec::AAC, .frames = 90000, .options = {"-aac_pns", "0"}},
          MediaSpec{.codec = Codec::AAC, .frames = 90000, .options = {"-aac_pns", "1"}},
          MediaSpec{.codec = Codec::FLAC, .rate = 48000, .frames = 90000}, MediaSpec{.rate = 22050, .frames = 45000}}) {
        const auto all = indicesOf(make(spec));
        load(spec);
        // One step of 16 bits where a rate is changed: the start of a range is then reached by a seek.
        const int tolerance = spec.rate == 44100 ? 0 : 1;
        for (const int64_t length : {1, 7, 511, 513, 44101}) {
            SCOPED_TRACE(testing::Message() << make(spec) << ", " << length << " frames");
            player->setOffsetFramesPlay(kStart, kStart, kStart + length);
            player->play();
            const auto frames = advance(static_cast<uint32_t>(3 * length + 700));
            player->stop();
            heard();
            ASSERT_GE(std::ssize(frames), 3 * length + 700);
            for (std::size_t i = 0; i < frames.size(); ++i) {
                const int64_t wanted = all[static_cast<std::size_t>(kStart + static_cast<int64_t>(i) % length)];
                for (const int shift : {0, 16}) // left, right
                    ASSERT_NEAR(static_cast<int16_t>(frames[i] >> shift), static_cast<int16_t>(wanted >> shift),
                                tolerance)
                        << "sample " << i;
            }
        }
    }
}

TEST_F(PlayerTest, VolumeAndInputDescriptionGoToTheUnits)
{
    float gain = 0;
    for (const auto &[volume, given] : {std::pair(0.5F, 0.5F), {7.0F, 1.0F}}) {
        player->setVolume(volume);
        AudioUnitGetParameter(player->outputUnit(), kHALOutputParam_Volume, kAudioUnitScope_Global, 0, &gain);
        EXPECT_EQ(gain, given);
    }
    EXPECT_THROW(player->setVolume(std::numeric_limits<float>::quiet_NaN()), NSException);
    player->setVolume(0.25F);
    player->setOutputDeviceID(0);
    EXPECT_EQ(player->volume(), 1.0F) << "another unit's own";

    auto format = GetStandardDescription();
    format.mSampleRate = 48000;
    player->setInputDescription(format);
    AudioStreamBasicDescription input{};
    uint32_t size = sizeof input;
    AudioUnitGetProperty(player->preConverterUnit(), kAudioUnitProperty_StreamFormat, kAudioUnitScope_Input, 0, &input,
                         &size);
    EXPECT_EQ(input.mSampleRate, 48000);
}

TEST_F(PlayerTest, EndsSafelyOnAnyThreadAtAnyTime)
{
    for (int round = 0; round < 60; ++round) {
        auto other = KXAFilePlayer::player();
        ASSERT_TRUE(other->loadFileAtURL(make(indexed(50000))));
        other->play();
        hardware->advance(static_cast<uint32_t>(round * 7));
        std::thread([last = std::move(other)]() mutable { last.reset(); }).join();
        // A tick of its timer may hold it a moment longer.
        EXPECT_TRUE(eventually([&] { return hardware->openStreams() == 0; }));
    }
}

TEST_F(PlayerTest, ManyThreadsMayDriveOnePlayer)
{
    load(indexed(300000));
    std::vector<std::thread> threads;
    const auto repeat = [&](auto action) {
        threads.emplace_back([action] {
            for (int i = 0; i < 40; ++i)
                action(i);
        });
    };
    repeat([&](int) { player->play(); });
    repeat([&](int i) { player->setPositionInFrame(i * 1000); });
    repeat([&](int i) { i % 2 == 0 ? player->stop() : player->setEffectMode(static_cast<uint64_t>(i % 3)); });
    repeat([&](int i) { player->setOffsetFramesPlay(i, i, i + 500); });
    repeat([&](int i) { (void)player->loadFileAtURL(make(indexed(40000 + i % 3))); });
    repeat([&](int) { (void)hardware->advance(300); });
    for (auto &thread : threads)
        thread.join();
    player->stop();
    const int64_t position = player->byteOffset();
    hardware->advance(512);
    EXPECT_EQ(player->byteOffset(), position);
}

} // namespace
} // namespace kx::test
