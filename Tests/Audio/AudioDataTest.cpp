#include "KXFW/Audio/KXAFilePlayerDataSource.h"
#include "KXFW/Audio/KXAudioUtil.h"
#include "KXFW/Audio/Player/LoopWalk.h"
#include "Tests/Audio/AudioDataFixtures.h"
#include "Tests/Support/CapturedLog.h"
#include "Tests/Support/Eventually.h"
#include "Tests/Support/FailingDisk.h"

#include <cstring>
#include <fstream>
#include <future>
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
    uint32_t frames[600];
    EXPECT_EQ(data->copyToBuffer(frames, 4 * kFrames - 2000, 2400), 2000U) << "500 frames are left";
    EXPECT_EQ(indexIn(frames[499]), kFrames - 1);
}

TEST(FiledAudioData, HasTheLengthInItsOwnFramesAndIsNullWhereItCannotBeOpened)
{
    const auto data = KXAFiledAudioData2::audioDataWithContentsOfURL(make({.rate = 48000, .frames = 48000}));
    EXPECT_EQ(data->numFrames(), 44100);
    data->prereadFrames(512);
    data->finalizeForRead();
    data->finalizeForRead();
    EXPECT_EQ(data->numFrames(), 0) << "the file is closed";
    EXPECT_THROW(data->prepareForWrite(), const char *) << "nobody implements it";
    data->setFileURL(make(indexed(5)));
    data->prepareForRead(std::stop_token());
    EXPECT_FALSE(data->setRingBufferQueue(data->prereadQueue())) << "a file is open";
    int16_t samples[10];
    uint32_t frames = 9;
    data->readNative(samples, &frames);
    EXPECT_EQ(frames, 5U);
    for (uint32_t i = 0; i < frames; ++i)
        EXPECT_EQ(indexOf(samples[2 * i], samples[2 * i + 1]), i);

    CapturedLog log;
    OSStatus why = noErr;
    EXPECT_EQ(KXAFilePlayerDataSource::dataSourceWithContentsOfURL("/nowhere", {}, &why), nullptr);
    EXPECT_EQ(why, kAudioFileFileNotFoundError) << "and no log line";
    EXPECT_EQ(KXAFilePlayerDataSource::dataSourceWithContentsOfURL(fileOf("not audio %s.wav", {'h', 'i'})), nullptr);
    const auto lines = log.messages();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0], "exception:-[KXAFiledAudioData2 prepareForRead]:238");
    EXPECT_TRUE(lines[1].starts_with("exception.userInfo:")) << lines[1];
}

TEST(FiledAudioData, AFailingReadIsToldOnceAndAfterTheFramesBeforeIt)
{
    constexpr int64_t kReadable = 100000;
    const auto data = KXAFiledAudioData2::audioDataWithContentsOfURL(make(indexed(300000)));
    std::optional<FailingDisk> disk(44 + 4 * kReadable);
    const CapturedLog quiet;
    data->seek(kReadable - 44100); // which decodes as much
    expectPasses(readIndices(*data, 43700), 43700, kReadable - 44100, 0, kReadable);
    uint32_t frames[1000];
    uint32_t got = 1000;
    EXPECT_NO_THROW(data->readToBuffer(frames, &got)) << "400 frames in the ring, then the file fails";
    EXPECT_EQ(got, 400U);
    EXPECT_EQ(indexIn(frames[399]), kReadable - 1);
    got = 1000;
    EXPECT_THROW(data->readToBuffer(frames, &got), NSException);
    data->seek(kReadable - 10);
    EXPECT_EQ(readIndices(*data, 100).size(), 10U) << "told once, then it is an end";
    data->seek(kReadable - 44100 - 8192);
    EXPECT_EQ(data->prereadFrames(10000), 8192U) << "a step decoded, and the next one fails";
    disk.reset();
    data->seek(kReadable - 10);
    expectPasses(readIndices(*data, 100), 100, kReadable - 10, 0, 300000);
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
    auto decoded = std::async(std::launch::async, [&] { return data->prereadFrames(262144); });
    ASSERT_TRUE(eventually([] { return HeldFile::waiting() > 0; }));
    std::atomic<pid_t> waiter{0};
    const auto sought = std::async(std::launch::async, [&] {
        waiter = gettid();
        data->seek(1000);
    });
    EXPECT_TRUE(eventually([&] { return waiter != 0 && sleeps(waiter); }));
    disk.reset();
    EXPECT_EQ(decoded.get(), 8192U) << "one step";
    sought.wait();
    EXPECT_EQ(readIndices(*data, 1)[0], 1000);
}

TEST(DataSource, PrerendersAroundTheRangeAndBehindTheEndOfTheFile)
{
    const auto source = KXAFilePlayerDataSource::dataSourceWithContentsOfURL(make(indexed(150000)));
    const auto param = source->param();
    param->setInputDesc(GetStandardDescription());
    for (const uint32_t request : {2048U, 512U}) {
        source->seek(148471); // 1,529 frames before the end, which the seek reads
        std::vector<int64_t> numbers;
        for (int pair = 0; pair < 10; ++pair) {
            std::ranges::copy(readIndices(*source->audioData(), request), std::back_inserter(numbers));
            source->prerenderToBuffer(nullptr, request);
        }
        EXPECT_GT(numbers.size(), 1529U + 5 * request);
        expectPasses(numbers, numbers.size(), 148471, 0, 150000);
    }
    param->setEndOffset(40000);
    for (const auto &[loop, position, after] :
         {std::tuple(true, 39000, 1048), {false, 39000, 41048}, {true, 50000, 2048}}) {
        param->setLoop(loop);
        source->seek(position / 4);
        source->prerenderToBuffer(nullptr, 512);
        EXPECT_EQ(param->byteOffset(), after) << "from " << position;
    }
    EXPECT_EQ(readIndices(*source->audioData(), 1)[0], 0) << "the ring holds what was passed";
    source->seek(37952 / 4);
    while (source->audioData()->prereadFrames(441000) > 0) {
    }
    source->prerenderToBuffer(nullptr, 512);
    EXPECT_EQ(param->byteOffset(), 37952) << "up to the range's end, and nothing was read";
}

// Against models that move one frame or byte after the other.

constexpr int64_t kFrame = 4;

/// Data whose frames carry their own number, read from where it was last left, like the real audio data.
class NumberedData final : public kx::LoopWalkSource
{
public:
    NumberedData(int64_t frames, int64_t first, int64_t room)
        : next(first), heard(static_cast<std::size_t>(room), -1), frames_(frames)
    {
    }

    int64_t read(int64_t at, int64_t bytes) override
    {
        EXPECT_EQ(bytes % kFrame, 0);
        EXPECT_LE(at + bytes, static_cast<int64_t>(heard.size()) * kFrame) << "read beyond the destination";
        const int64_t count = std::clamp<int64_t>(frames_ - next, 0, bytes / kFrame);
        for (int64_t i = 0; i < count; ++i)
            heard[static_cast<std::size_t>(at / kFrame + i)] = static_cast<int32_t>(next++);
        return count * kFrame;
    }
    void seek(int64_t frame) override
    {
        EXPECT_TRUE(frame >= 0 && frame <= frames_) << "sought " << frame;
        next = frame;
        ++seeks;
    }
    void repeat(int64_t from, int64_t at, int64_t bytes) override
    {
        EXPECT_LE(from + bytes, at);
        std::memcpy(heard.data() + at / kFrame, heard.data() + from / kFrame, static_cast<std::size_t>(bytes));
    }

    int64_t next;
    std::vector<int32_t> heard;
    int seeks = 0;

private:
    int64_t frames_;
};

TEST(LoopWalk, EqualsAFrameByFrameModelOverRandomRangesAndRequests)
{
    std::mt19937 random(77);
    const auto below = [&](int64_t limit) { return static_cast<int64_t>(random() % static_cast<uint64_t>(limit)); };
    for (int round = 0; round < 20000; ++round) {
        const int64_t frames = 1 + below(round % 3 == 0 ? 40 : 3000);
        const int64_t start = below(frames);
        const int64_t end = start + 1 + below(round % 5 == 0 ? 2 * frames : frames - start);
        const int64_t position = below(frames + 1);
        const int64_t request = 1 + below(600);
        const bool loop = round % 4 != 0;
        SCOPED_TRACE(testing::Message() << "frames " << frames << " range " << start << ".." << end << " position "
                                        << position << " request " << request << " loop " << loop);
        NumberedData data(frames, position, request);
        const auto result = kx::walkLoop({start * kFrame, end * kFrame, frames * kFrame, kFrame, loop},
                                         position * kFrame, request * kFrame, data);
        std::vector<int32_t> expected;
        int64_t next = loop && (position < start || position > end) ? start : position;
        while (std::ssize(expected) < request) {
            if (loop && next >= std::min(end, frames))
                next = start;
            if (next >= frames)
                break;
            expected.push_back(static_cast<int32_t>(next++));
        }
        ASSERT_EQ(result.count, std::ssize(expected) * kFrame);
        ASSERT_TRUE(std::equal(expected.begin(), expected.end(), data.heard.begin()));
        ASSERT_EQ(result.position, data.next * kFrame) << "the data stands where the position says";
        ASSERT_EQ(result.ended, !loop && position + request >= frames);
        ASSERT_LE(data.seeks, 3) << "whole passes are copied, not sought";
    }
}

TEST(LoopWalk, BoundsWhateverTheSettersStored)
{
    const int64_t size = 4000;
    NumberedData data(1000, 0, 1000);
    for (const auto &range : {kx::LoopRange{400, 400, size, 4, true},
                              {800, 400, size, 4, true},
                              {4000, 8000, size, 4, true},
                              {401, 403, size, 4, true},
                              {0, 0, 0, 4, true},
                              {0, -8, size, 4, false},
                              {0, 4000, size, 0, true}}) {
        const auto result = kx::walkLoop(range, 100, 256, data);
        EXPECT_TRUE(result.count == 0 && result.position == 100 && !result.ended) << range.start << ".." << range.end;
    }
    EXPECT_EQ(kx::walkLoop({-4001, 4002, size, 4, true}, -7, 257, data).count, 256) << "whole frames only";
    EXPECT_EQ(data.heard[0], 0);
    EXPECT_EQ(kx::walkLoop({0, size, size, 4, true}, 256, size - 256, data).position, 0) << "it ends with the data";
    NumberedData half(500, 0, 1000);
    EXPECT_TRUE(kx::walkLoop({0, size, size, 4, false}, 0, size, half).ended) << "or where it cannot be read on";
}

TEST(RingBuffer, EqualsAQueueOfBytesOverRandomTransfers)
{
    std::mt19937 random(20240611);
    for (const uint64_t size : {5U, 8U, 17U, 64U, 1000U}) {
        KXRingBuffer ring(size);
        std::string model;
        for (int step = 0; step < 3000; ++step) {
            SCOPED_TRACE(testing::Message() << "size " << size << " step " << step);
            const uint64_t length = random() % (size + 3);
            std::string bytes(length, '\0');
            std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(random()); });
            if (random() % 2 == 0) {
                const uint64_t room = ring.space();
                ASSERT_EQ(ring.write(bytes.data(), length), room > 0 ? length : 0) << "what was asked, unless full";
                model += bytes.substr(0, room);
            } else {
                const bool proceeds = random() % 3 != 0;
                const uint64_t got = ring.read(bytes.data(), length, proceeds);
                ASSERT_EQ(bytes.substr(0, got), model.substr(0, length));
                model.erase(0, proceeds ? got : 0);
            }
            ASSERT_EQ(ring.count(), model.size());
            ASSERT_EQ(ring.count() + ring.space(), size - 4);
            ASSERT_LT(ring.writePos(), size);
        }
        ring.clear();
        const std::string text = std::to_string(size);
        EXPECT_EQ(ring.description(), "sz: " + text + ", sp: " + std::to_string(size - 4) + ", c: 0, r: 0, w: 0");
    }
}

} // namespace
} // namespace kx::test
