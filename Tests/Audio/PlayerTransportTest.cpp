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
    EXPECT_FALSE(player->play()) << "nothing to play";
    EXPECT_FALSE(player->isPlaying() || player->setPositionInFrame(0) || player->prepareForExport());
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
    for (int round = 0; round < 100; ++round) { // a stop is a barrier
        player->play();
        const auto some = advance(64);
        expectPasses(some, some.size(), some[0], 0, 20000);
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
    for (int round = 0; round < 20; ++round) {
        load(indexed(100000 + round % 2));
        advance(700);
    }
    auto source = player->dataSource();
    const std::weak_ptr<KXAFiledAudioData2> played = source->audioData();
    source->setAudioData(KXAFiledAudioData2::audioDataWithContentsOfURL(make(indexed(100000))));
    advance(700);
    EXPECT_FALSE(played.expired()) << "a slice may be using it";
    player->setDataSource(KXAFilePlayerDataSource::dataSourceWithContentsOfURL(make(indexed(100001))));
    source.reset();
    EXPECT_TRUE(played.expired());
    std::stop_source cancelled;
    cancelled.request_stop();
    EXPECT_FALSE(player->loadFileAtURL(make(indexed(50000)), cancelled.get_token()));
    EXPECT_EQ(player->totalPackets(), 100001) << "what was loaded stays";
    EXPECT_LT(player->frameOffset(), 20000);
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
    OSStatus why = noErr;
    EXPECT_FALSE(player->loadFileAtURL("/nowhere.wav", {}, &why));
    EXPECT_EQ(why, kAudioFileFileNotFoundError);
    EXPECT_FALSE(player->loadFileAtURL(make(indexed(50000)), cancelled.get_token(), &why));
    EXPECT_EQ(why, kAudioFileOpeningCancelledError);
    EXPECT_TRUE(player->loadFileAtURL(make(indexed(5000)), {}, &why));
    EXPECT_EQ(why, noErr);
    EXPECT_TRUE(player->play());
    EXPECT_TRUE(player->isPlaying());
}

TEST_F(PlayerTest, JumpsWithinTheRangeAndTheFileAlsoWhilePlaying)
{
    load(indexed(441000));
    player->setOffsetFramesPlay(10500, 10000, 20000);
    EXPECT_EQ(player->startOffset(), 40000);
    EXPECT_EQ(player->byteOffset(), 42000);
    for (const auto &[loop, byte, reached] : {std::tuple(true, 80001, 40000),
                                              {true, 39999, 40000},
                                              {true, 80000, 80000}, // the end itself is allowed
                                              {false, 2000000, 1764000},
                                              {false, -5, 0},
                                              {false, 4001, 4001}}) {
        player->setLoop(loop);
        player->setPositionInByte(byte);
        EXPECT_EQ(player->byteOffset(), reached) << "byte " << byte;
    }
    EXPECT_EQ(player->frameOffset(), 1000);
    player->setPositionInFrame(INT64_MAX / 2);
    EXPECT_EQ(player->frameOffset(), 441000);
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
    for (const Media &media :
         {Media{.frames = 90000}, Media{.codec = Codec::MP3, .frames = 90000},
          Media{.codec = Codec::AAC, .frames = 90000, .options = {"-aac_pns", "0"}},
          Media{.codec = Codec::AAC, .frames = 90000, .options = {"-aac_pns", "1"}},
          Media{.codec = Codec::FLAC, .rate = 48000, .frames = 90000}, Media{.rate = 22050, .frames = 45000}}) {
        const auto all = indicesOf(make(media));
        load(media);
        for (const int64_t length : {1, 7, 511, 513, 44101}) {
            SCOPED_TRACE(testing::Message() << make(media) << ", " << length << " frames");
            player->setOffsetFramesPlay(kStart, kStart, kStart + length);
            player->play();
            const auto frames = advance(static_cast<uint32_t>(3 * length + 700));
            player->stop();
            heard();
            std::vector<int64_t> passes;
            while (passes.size() < frames.size())
                passes.insert(passes.end(), all.begin() + kStart, all.begin() + kStart + length);
            // Where a rate is changed, the start of a range is reached by a seek.
            expectSamples(frames, passes, media.rate == 44100 ? 0 : 1);
        }
    }
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
    std::vector<std::jthread> threads;
    for (const std::function<void(int)> &action : std::initializer_list<std::function<void(int)>>{
             [&](int) { player->play(); },
             [&](int i) { player->setPositionInFrame(i * 1000); },
             [&](int i) { i % 2 == 0 ? player->stop() : void(player->setEffectMode(static_cast<uint64_t>(i % 3))); },
             [&](int i) { player->setOffsetFramesPlay(i, i, i + 500); },
             [&](int i) { (void)player->loadFileAtURL(make(indexed(40000 + i % 3))); },
             [&](int) { (void)hardware->advance(300); },
         })
        threads.emplace_back([action] {
            for (int i = 0; i < 40; ++i)
                action(i);
        });
    threads.clear();
    player->stop();
    const int64_t position = player->byteOffset();
    hardware->advance(512);
    EXPECT_EQ(player->byteOffset(), position);
}

} // namespace
} // namespace kx::test
