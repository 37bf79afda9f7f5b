#include "KXFW/Audio/KXAudioUtil.h"
#include "Tests/Audio/AudioDataFixtures.h"
#include "Tests/Support/CapturedLog.h"

#include <random>
#include <thread>

using namespace kx::test;

namespace
{

MediaSpec indexed(int64_t frames)
{
    return {.frames = frames, .signal = Signal::Index};
}

uint64_t ringCount(KXAFiledAudioData2 &data)
{
    return data.ringBufferQueue()->sync([&] { return data.ringBuffer()->count(); });
}

TEST(FiledAudioData, TellsLengthAndFormatInTheStandardDescription)
{
    auto data = open(indexed(48000));
    EXPECT_EQ(data->numFrames(), 48000);
    EXPECT_EQ(data->bufferSize(), 192000);
    EXPECT_FALSE(data->isZeroSize());
    EXPECT_EQ(data->format().mFormatFlags, 14U);
    EXPECT_EQ(data->format().mBytesPerFrame, GetStandardDescription().mBytesPerFrame);
    EXPECT_EQ(data->ringBufferQueue()->label(), "KXAFiledAudioData.ringBufferQueue");

    auto faster = open({.rate = 48000, .frames = 48000});
    EXPECT_EQ(faster->numFrames(), 44100);
    EXPECT_EQ(faster->fileLengthFrames(), 48000);
    faster->finalizeForRead();
    faster->finalizeForRead();
    EXPECT_EQ(faster->fileRef(), nullptr);
}

TEST(FiledAudioData, AFileThatCannotBeOpenedIsNullAndTwoLogLines)
{
    const auto text = fileOf("not audio %s.wav", {'h', 'e', 'l', 'l', 'o'});
    for (const auto &path : {temporaryFolder() / "missing.wav", text, temporaryFolder()}) {
        CapturedLog log;
        EXPECT_EQ(KXAFiledAudioData2::audioDataWithContentsOfURL(path), nullptr) << path;
        const auto lines = log.messages();
        ASSERT_EQ(lines.size(), 2U) << path;
        EXPECT_EQ(lines[0], "exception:-[KXAFiledAudioData2 prepareForRead]:238");
        EXPECT_EQ(lines[1].rfind("exception.userInfo:", 0), 0U) << lines[1];
    }
}

TEST(FiledAudioData, PrereadsAsFarAsTheBridgeAndTheRingGo)
{
    auto data = open(indexed(4400000));
    EXPECT_EQ(data->prereadFrames(0), 0U);
    EXPECT_EQ(data->prereadFrames(44100), 44100U);
    EXPECT_EQ(ringCount(*data), 176400U);
    EXPECT_EQ(data->prereadFrames(1000000), 262144U) << "one bridge buffer";
    data->preread();
    EXPECT_EQ(ringCount(*data), 176400U + 2 * 1048576U);
    uint32_t stored = 0;
    for (uint32_t now = 1; now > 0; stored += now)
        now = data->prereadFrames(1000000);
    EXPECT_EQ(ringCount(*data), 16777212U) << "full but for one frame";
    const int64_t before = data->tell();
    EXPECT_EQ(data->prereadFrames(44100), 0U);
    data->preread();
    EXPECT_EQ(data->tell(), before) << "a full ring leaves the file alone";
    uint32_t two = 2;
    Frame frames[2];
    data->readToBuffer(frames, &two);
    EXPECT_EQ(data->prereadFrames(44100), 2U) << "room for 8 bytes";
    const auto all = readFrames(*data, 5000000, 4096);
    ASSERT_EQ(all.size(), 4399998U);
    for (std::size_t i = 0; i < all.size(); ++i)
        ASSERT_EQ(indexIn(all[i]), static_cast<int64_t>(i) + 2);
}

TEST(FiledAudioData, AReadTakesTheRingFirstAndTheRestFromTheFile)
{
    auto data = open(indexed(1000));
    data->prereadFrames(250);
    uint32_t frames = 512;
    std::vector<Frame> out(1000, 0xdeadbeef);
    data->readToBuffer(out.data(), &frames);
    EXPECT_EQ(frames, 512U);
    EXPECT_EQ(ringCount(*data), 0U);
    EXPECT_EQ(data->underruns(), 1U);
    frames = 900;
    data->readToBuffer(out.data() + 512, &frames);
    EXPECT_EQ(frames, 488U) << "the end of the file";
    for (std::size_t i = 0; i < 1000; ++i)
        ASSERT_EQ(indexIn(out[i]), static_cast<int64_t>(i));
    frames = 10;
    data->readToBuffer(out.data(), &frames);
    EXPECT_EQ(frames, 0U);
    EXPECT_EQ(indexIn(out[0]), 0) << "what was not delivered is not touched";
    EXPECT_EQ(data->copyToBuffer(out.data(), 2000, 4000), 2000U) << "500 frames are left";
    EXPECT_EQ(indexIn(out[499]), 999);
    EXPECT_EQ(data->copyToBuffer(out.data(), 4000, 4096), 0U);
}

TEST(FiledAudioData, ASeekEmptiesTheRingAndFillsOneSecond)
{
    auto data = open(indexed(100000));
    data->prereadFrames(1000);
    data->seek(50000);
    EXPECT_EQ(ringCount(*data), 176400U);
    EXPECT_EQ(indexIn(readFrames(*data, 1)[0]), 50000);
    data->seek(99990);
    EXPECT_EQ(readFrames(*data, 100).size(), 10U);
    data->seek(100000);
    EXPECT_EQ(ringCount(*data), 0U);
    EXPECT_THROW(data->seek(-1), NSException);
    EXPECT_THROW(data->seek(100001), NSException);
    data->seek(7);
    EXPECT_EQ(indexIn(readFrames(*data, 1)[0]), 7) << "a refused seek does no harm";
}

TEST(FiledAudioData, OperationsThatNobodyImplementsThrowTheGenericName)
{
    auto data = open(indexed(10));
    uint32_t frames = 1;
    const auto thrown = [](auto operation) {
        try {
            operation();
        } catch (const char *name) {
            return name;
        }
        return "nothing";
    };
    EXPECT_EQ(thrown([&] { data->writeFromBuffer(nullptr, &frames); }), NSGenericException);
    EXPECT_EQ(thrown([&] { data->prepareForWrite(); }), NSGenericException);
    EXPECT_EQ(thrown([&] { data->finalizeForWrite(); }), NSGenericException);
    EXPECT_EQ(thrown([&] { (void)data->fileFormat(); }), NSGenericException);
    const auto base = KXAData::audioDataWithContentsOfURL("nowhere");
    EXPECT_EQ(thrown([&] { (void)base->isZeroSize(); }), NSGenericException);
    EXPECT_EQ(thrown([&] { (void)base->bufferSize(); }), NSGenericException);
}

TEST(FiledAudioData, PrereadsReadsAndSeeksOnThreeThreadsNeverMixFrames)
{
    constexpr int64_t kFrames = 300000;
    auto data = open(indexed(kFrames));
    std::atomic<bool> done{false};
    std::thread timer([&] {
        while (!done)
            data->prereadFrames(44100);
    });
    kx::SerialQueue positions("positions");
    std::thread seeker([&] {
        std::mt19937 random(5);
        for (int i = 0; i < 300; ++i)
            positions.sync([&] { data->seek(static_cast<int64_t>(random() % (kFrames - 600))); });
        done = true;
    });
    std::vector<Frame> out(512);
    while (!done) {
        uint32_t frames = 512;
        positions.sync([&] { data->readToBuffer(out.data(), &frames); });
        for (uint32_t i = 1; i < frames; ++i)
            if (indexIn(out[i]) != indexIn(out[i - 1]) + 1) {
                ADD_FAILURE() << "frame " << indexIn(out[i]) << " after " << indexIn(out[i - 1]);
                done = true;
                break;
            }
    }
    timer.join();
    seeker.join();
}

} // namespace
