// What a disk that does not answer leaves of a player: all of it but the sound. Nothing here lets the disk go on while
// a call is under way, so that one that waits for it hangs the test.
#include "Tests/Audio/PlayerFixture.h"
#include "Tests/Support/CapturedLog.h"
#include "Tests/Support/FailingDisk.h"

#include <optional>

namespace kx::test
{
namespace
{

constexpr int64_t kFrames = 600000; ///< of 44,100 Hz
constexpr int64_t kTarget = 300001;

class HungDiskTest : public PlayerTest, public testing::WithParamInterface<MediaSpec>
{
protected:
    HungDiskTest() { player->timer()->cancel(); }

    /// Plays until `frames` frames of the file have been heard, and gives them: what is silent is left out.
    std::vector<int64_t> hear(std::size_t frames)
    {
        std::vector<int64_t> sound;
        for (const Deadline deadline; sound.size() < frames && player->isPlaying() && !deadline.passed();) {
            const auto some = advance(512);
            std::ranges::remove_copy(some, std::back_inserter(sound), 0);
        }
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
    const uint64_t underruns = player->audioData()->underruns();
    heard();
    const auto silence = advance(2048);
    EXPECT_EQ(std::ranges::count(silence, 0), std::ssize(silence));
    EXPECT_GE(player->audioData()->underruns(), underruns + 4);
    EXPECT_EQ(player->frameOffset(), reached) << "only what is heard moves it";
    EXPECT_TRUE(player->isPlaying());

    player->_timerFired(nullptr);
    player->setPositionInFrame(1000);
    player->setPositionInFrame(kTarget);
    EXPECT_EQ(player->frameOffset(), kTarget);
    player->stop();
    EXPECT_EQ(player->heardFrame().frame, kTarget);
    player->play();
    EXPECT_FALSE(KXAFilePlayer::player()->loadFileAtURL(file)) << "it gives nothing";
    heard();
    EXPECT_EQ(player->frameOffset(), kTarget);
    disk.reset();
    const auto sound = hear(50000);
    ASSERT_GE(sound.size(), 50000U);
    all.erase(all.begin(), all.begin() + kTarget);
    std::erase(all, 0);
    const int tolerance = GetParam().rate == 44100 ? 0 : 1; // one step of 16 bits where a rate is changed
    for (std::size_t i = 0; i < sound.size(); ++i)
        for (const int shift : {0, 16}) // left, right
            ASSERT_NEAR(static_cast<int16_t>(sound[i] >> shift), static_cast<int16_t>(all[i] >> shift), tolerance)
                << "sample " << i;
}

INSTANTIATE_TEST_SUITE_P(Containers, HungDiskTest,
                         testing::Values(MediaSpec{.frames = kFrames}, MediaSpec{.rate = 22050, .frames = kFrames / 2},
                                         MediaSpec{.codec = Codec::AIFF, .frames = kFrames},
                                         MediaSpec{.codec = Codec::FLAC, .frames = kFrames},
                                         MediaSpec{.codec = Codec::Vorbis, .frames = kFrames, .signal = Signal::Noise},
                                         MediaSpec{.codec = Codec::MP3, .frames = kFrames},
                                         MediaSpec{.codec = Codec::AAC, .frames = kFrames}));

TEST_F(HungDiskTest, AnotherFileIsLoadedAndThePlayerEnds)
{
    const auto file = make(indexed(kFrames));
    load(indexed(kFrames));
    player->play();
    disk.emplace(file);
    player->setPositionInFrame(kTarget);
    load(indexed(5000));
    expectPasses(hear(4999), 4999, 1, 1, 5000);
    disk.reset();
    load(indexed(kFrames));
    disk.emplace(file);
    player->setPositionInFrame(kTarget);
    player.reset();
}

TEST_F(HungDiskTest, AnExportWaitsAndHoldsUpNothingElse)
{
    const auto file = make(indexed(kFrames));
    const auto destination = temporaryPath("late.aiff");
    load(indexed(kFrames));
    disk.emplace(file);
    Handshake ended;
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
}

} // namespace
} // namespace kx::test
