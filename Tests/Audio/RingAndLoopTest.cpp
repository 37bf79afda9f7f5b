// What moves frames, against models that move one after the other.
#include "KXFW/Audio/KXRingBuffer.h"
#include "KXFW/Audio/LoopWalk.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace
{

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

struct Case {
    int64_t frames, start, end, position, request;
    bool loop;
};

/// One frame at a time: what should be heard.
std::vector<int32_t> model(const Case &c)
{
    std::vector<int32_t> heard;
    const int64_t end = std::min(c.end, c.frames);
    int64_t position = c.loop && (c.position < c.start || c.position > c.end) ? c.start : c.position;
    while (static_cast<int64_t>(heard.size()) < c.request) {
        if (c.loop && position >= end)
            position = c.start;
        if (position >= c.frames)
            break;
        heard.push_back(static_cast<int32_t>(position++));
    }
    return heard;
}

TEST(LoopWalk, EqualsAFrameByFrameModelOverRandomRangesAndRequests)
{
    std::mt19937 random(77);
    const auto below = [&](int64_t limit) { return static_cast<int64_t>(random() % static_cast<uint64_t>(limit)); };
    for (int round = 0; round < 20000; ++round) {
        const int64_t frames = 1 + below(round % 3 == 0 ? 40 : 3000);
        const int64_t start = below(frames);
        const int64_t end = start + 1 + below(round % 5 == 0 ? 2 * frames : frames - start);
        const Case c{frames, start, end, below(frames + 1), 1 + below(600), round % 4 != 0};
        SCOPED_TRACE(testing::Message() << "frames " << c.frames << " range " << c.start << ".." << c.end
                                        << " position " << c.position << " request " << c.request << " loop "
                                        << c.loop);
        NumberedData data(c.frames, c.position, c.request);
        const auto result = kx::walkLoop({c.start * kFrame, c.end * kFrame, c.frames * kFrame, kFrame, c.loop},
                                         c.position * kFrame, c.request * kFrame, data);
        const std::vector<int32_t> expected = model(c);
        ASSERT_EQ(result.count, static_cast<int64_t>(expected.size()) * kFrame);
        ASSERT_TRUE(std::equal(expected.begin(), expected.end(), data.heard.begin()));
        ASSERT_EQ(result.position, data.next * kFrame) << "the data stands where the position says";
        ASSERT_EQ(result.ended, !c.loop && c.position + c.request >= c.frames);
        ASSERT_LE(data.seeks, 3) << "whole passes are copied, not sought";
    }
}

TEST(LoopWalk, BoundsWhateverTheSettersStored)
{
    const int64_t size = 4000;
    const kx::LoopRange empties[] = {{400, 400, size, 4, true}, {800, 400, size, 4, true}, {4000, 8000, size, 4, true},
                                     {401, 403, size, 4, true}, {0, 0, 0, 4, true},        {0, -8, size, 4, false},
                                     {0, 4000, size, 0, true}};
    for (const auto &range : empties) {
        NumberedData data(1000, 100, 64);
        const auto result = kx::walkLoop(range, 100, 256, data);
        EXPECT_EQ(result.count, 0) << range.start << ".." << range.end;
        EXPECT_EQ(result.position, 100) << "an empty range moves nothing";
        EXPECT_FALSE(result.ended);
    }
    NumberedData data(1000, 0, 1000);
    EXPECT_EQ(kx::walkLoop({-4001, 4002, size, 4, true}, -7, 257, data).count, 256) << "whole frames only";
    EXPECT_EQ(data.heard[0], 0);
    EXPECT_EQ(kx::walkLoop({0, size, size, 4, true}, 256, size - 256, data).position, 0) << "it ends with the data";
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
