#include "KXFW/Audio/LoopWalk.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
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
        const int64_t count = std::clamp<int64_t>(std::min(frames_, failAt) - next, 0, bytes / kFrame);
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
    int64_t failAt = INT64_MAX; ///< the frame from which nothing can be read
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

TEST(LoopWalk, AShortReadEndsTheWalkAndWhatExistsIsLooped)
{
    NumberedData data(2000, 100, 512);
    data.failAt = 300;
    const kx::LoopRange loop{40, 4000, 8000, 4, true};
    auto result = kx::walkLoop(loop, 400, 2048, data);
    EXPECT_EQ(result.count, 800) << "frames 100 to 299";
    result = kx::walkLoop(loop, result.position, 2048, data);
    EXPECT_EQ(data.heard[0], 10) << "from the start of the range";
    EXPECT_EQ(result.count, 290 * kFrame);
    data.seek(100);
    const auto straight = kx::walkLoop({40, 4000, 8000, 4, false}, 400, 2048, data);
    EXPECT_EQ(straight.count, 800);
    EXPECT_TRUE(straight.ended) << "data that cannot be read on has ended";
}

} // namespace
