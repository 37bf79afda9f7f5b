#include "KXFW/Audio/KXAFilePlayerDataSource.h"
#include "KXFW/Audio/KXAudioUtil.h"
#include "Tests/Audio/AudioDataFixtures.h"
#include "Tests/Support/CapturedLog.h"
#include "Tests/Support/Eventually.h"
#include "Tests/Support/FailingDisk.h"

#include <fstream>
#include <optional>
#include <random>
#include <thread>
#include <unistd.h>

namespace kx::test
{
namespace
{

uint64_t ringCount(KXAFiledAudioData2 &data)
{
    return data.ringBufferQueue()->sync([&] { return data.ringBuffer()->count(); });
}

TEST(FiledAudioData, TheRingTheFileAndSeeksGiveOneSequence)
{
    constexpr int64_t kFrames = 4400000;
    const auto data = KXAFiledAudioData2::audioDataWithContentsOfURL(make(indexed(kFrames)));
    EXPECT_EQ(data->bufferSize(), 4 * kFrames);
    EXPECT_EQ(data->prereadFrames(44100), 44100U);
    EXPECT_EQ(data->prereadFrames(1000000), 262144U) << "one bridge buffer";
    data->preread();
    EXPECT_EQ(ringCount(*data), 176400U + 2 * 1048576U);
    while (data->prereadFrames(1000000) > 0) {
    }
    EXPECT_EQ(ringCount(*data), 16777212U) << "full but for one frame";
    const int64_t place = data->tell();
    data->preread();
    EXPECT_EQ(data->tell(), place) << "a full ring leaves the file alone";
    expectPasses(readIndices(*data, 2), 2, 0, 0, kFrames);
    EXPECT_EQ(data->prereadFrames(44100), 2U) << "room for 8 bytes";
    expectPasses(readIndices(*data), kFrames - 2, 2, 0, kFrames);

    data->seek(50000);
    EXPECT_EQ(ringCount(*data), 176400U) << "one second, decoded before a seek returns";
    const uint64_t underruns = data->underruns();
    expectPasses(readIndices(*data, 44612), 44612, 50000, 0, kFrames);
    EXPECT_EQ(data->underruns(), underruns + 1) << "the file gave what the ring had not";
    for (const int64_t outside : {int64_t{-1}, kFrames + 1})
        EXPECT_THROW(data->seek(outside), NSException);
    data->seek(kFrames - 10);
    EXPECT_EQ(readIndices(*data, 100).size(), 10U);
    data->seek(kFrames);
    uint32_t none = 10;
    uint32_t frames[600] = {0xdeadbeef};
    data->readToBuffer(frames, &none);
    EXPECT_EQ(none, 0U);
    EXPECT_EQ(frames[0], 0xdeadbeef) << "what was not delivered is not touched";
    EXPECT_EQ(data->copyToBuffer(frames, 4 * kFrames - 2000, 2400), 2000U) << "500 frames are left";
    EXPECT_EQ(indexIn(frames[499]), kFrames - 1);
}

TEST(FiledAudioData, OfAnotherRateHasTheLengthInItsOwnFrames)
{
    const auto data = KXAFiledAudioData2::audioDataWithContentsOfURL(make({.rate = 48000, .frames = 48000}));
    EXPECT_EQ(data->numFrames(), 44100);
    data->finalizeForRead();
    data->finalizeForRead();
    EXPECT_EQ(data->numFrames(), 0) << "the file is closed";
    EXPECT_THROW(data->prepareForWrite(), const char *) << "nobody implements it";
}

TEST(FiledAudioData, AFileThatCannotBeOpenedIsNullAndTwoLogLines)
{
    const auto text = fileOf("not audio %s.wav", {'h', 'e', 'l', 'l', 'o'});
    for (const auto &path : {temporaryFolder() / "missing.wav", text, temporaryFolder()}) {
        CapturedLog log;
        EXPECT_EQ(KXAFilePlayerDataSource::dataSourceWithContentsOfURL(path), nullptr) << path;
        const auto lines = log.messages();
        ASSERT_EQ(lines.size(), 2U) << path;
        EXPECT_EQ(lines[0], "exception:-[KXAFiledAudioData2 prepareForRead]:238");
        EXPECT_TRUE(lines[1].starts_with("exception.userInfo:")) << lines[1];
    }
}

TEST(FiledAudioData, AFailingReadIsToldOnceAndAfterTheFramesBeforeIt)
{
    constexpr int64_t kReadable = 100000;
    constexpr int64_t kSought = 44100; // decoded by a seek
    const auto data = KXAFiledAudioData2::audioDataWithContentsOfURL(make(indexed(300000)));
    const auto again = KXAFiledAudioData2::audioDataWithContentsOfURL(make(indexed(300000)));
    std::optional<FailingDisk> disk(44 + 4 * kReadable);
    const CapturedLog quiet;
    data->seek(kReadable - kSought);
    expectPasses(readIndices(*data, kSought - 400), kSought - 400, kReadable - kSought, 0, kReadable);
    uint32_t frames[1000];
    uint32_t got = 1000;
    EXPECT_NO_THROW(data->readToBuffer(frames, &got)) << "400 frames in the ring, then the file fails";
    EXPECT_EQ(got, 400U);
    EXPECT_EQ(indexIn(frames[399]), kReadable - 1);
    got = 1000;
    EXPECT_THROW(data->readToBuffer(frames, &got), NSException);
    data->seek(kReadable - 10);
    EXPECT_EQ(readIndices(*data, 100).size(), 10U) << "told once, then it is an end";

    again->seek(kReadable - kSought - 8192);
    EXPECT_EQ(again->prereadFrames(10000), 8192U) << "a step decoded, and the next one fails";
    EXPECT_THROW(again->prereadFrames(10000), NSException);
    disk.reset();
    again->seek(kReadable - 10);
    expectPasses(readIndices(*again, 100), 100, kReadable - 10, 0, 300000);
}

TEST(FiledAudioData, PrereadsReadsAndSeeksOnThreeThreadsNeverMixFrames)
{
    constexpr int64_t kFrames = 300000;
    const auto data = KXAFiledAudioData2::audioDataWithContentsOfURL(make(indexed(kFrames)));
    std::atomic<bool> done{false};
    std::thread timer([&] {
        while (!done)
            data->prereadFrames(44100);
    });
    SerialQueue positions("positions");
    std::thread seeker([&] {
        for (std::mt19937 random(5); !done;)
            positions.sync([&] { data->seek(static_cast<int64_t>(random() % kFrames)); });
    });
    for (int round = 0; round < 200 && !HasFailure(); ++round) {
        const auto numbers = positions.sync([&] { return readIndices(*data, 60000); }); // more than the ring has
        if (!numbers.empty())
            expectPasses(numbers, numbers.size(), numbers[0], 0, kFrames);
    }
    done = true;
    timer.join();
    seeker.join();
}

/// Whether a thread of this process sleeps, as it does in a lock that another one holds.
bool sleeps(pid_t thread)
{
    std::ifstream stat("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string field;
    return stat >> field >> field >> field && field == "S";
}

TEST(FiledAudioData, APrereadEndsEarlyForAWaitingSeek)
{
    const auto data = KXAFiledAudioData2::audioDataWithContentsOfURL(make(indexed(300000)));
    std::optional<HeldFile> disk(make(indexed(300000)));
    uint32_t decoded = 0;
    std::thread reader([&] { decoded = data->prereadFrames(262144); });
    ASSERT_TRUE(eventually([] { return HeldFile::waiting() > 0; }));
    std::atomic<pid_t> waiter{0};
    std::thread seeker([&] {
        waiter = gettid();
        data->seek(1000);
    });
    EXPECT_TRUE(eventually([&] { return waiter != 0 && sleeps(waiter); }));
    disk.reset();
    reader.join();
    seeker.join();
    EXPECT_EQ(decoded, 8192U) << "one step";
    EXPECT_EQ(readIndices(*data, 1)[0], 1000);
}

TEST(DataSource, ALoopingPrerenderGoesOnBehindTheEndOfTheFile)
{
    const auto source = KXAFilePlayerDataSource::dataSourceWithContentsOfURL(make(indexed(150000)));
    source->param()->setInputDesc(GetStandardDescription());
    for (const uint32_t request : {2048U, 512U}) {
        source->seek(148471); // 1,529 frames before the end, which the seek reads
        std::vector<int64_t> numbers;
        for (int pair = 0; pair < 10; ++pair) {
            const auto some = readIndices(*source->audioData(), request);
            numbers.insert(numbers.end(), some.begin(), some.end());
            source->prerenderToBuffer(nullptr, request);
            if (request == 2048 && pair == 0) {
                EXPECT_EQ(source->param()->byteOffset(), 4 * (2048 - 1529)) << "the rest, from the start";
            }
        }
        EXPECT_GT(numbers.size(), 1529U + 5 * request);
        expectPasses(numbers, numbers.size(), 148471, 0, 150000);
    }
}

TEST(DataSource, PrerendersAroundTheRange)
{
    const auto source = KXAFilePlayerDataSource::dataSourceWithContentsOfURL(make(indexed(441000)));
    const auto param = source->param();
    param->setInputDesc(GetStandardDescription());
    param->setEndOffset(40000);
    for (const auto &[loop, position, after] :
         {std::tuple(true, 39000, 1048), {false, 39000, 41048}, {true, 50000, 2048}}) {
        param->setLoop(loop);
        source->seek(position / 4);
        source->prerenderToBuffer(nullptr, 512);
        EXPECT_EQ(param->byteOffset(), after) << "from " << position;
    }
    EXPECT_EQ(readIndices(*source->audioData(), 1)[0], 0) << "the ring holds what was passed";

    param->setLoop(true);
    source->seek(37952 / 4);
    while (source->audioData()->prereadFrames(441000) > 0) {
    }
    source->prerenderToBuffer(nullptr, 512);
    EXPECT_EQ(param->byteOffset(), 37952) << "up to the range's end, and nothing was read";
}

} // namespace
} // namespace kx::test
