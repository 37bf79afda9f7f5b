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
    NumberedData(int64_t frames, int64_t position, std::vector<int32_t> &destination)
        : frames_(frames), next_(position / kFrame), destination_(destination)
    {
    }

    int64_t read(int64_t at, int64_t bytes) override
    {
        EXPECT_EQ(bytes % kFrame, 0);
        EXPECT_LE(at + bytes, static_cast<int64_t>(destination_.size()) * kFrame) << "read beyond the destination";
        const int64_t count = std::clamp<int64_t>(std::min(frames_, failAt) - next_, 0, bytes / kFrame);
        for (int64_t i = 0; i < count; ++i)
            destination_[static_cast<std::size_t>(at / kFrame + i)] = static_cast<int32_t>(next_++);
        return count * kFrame;
    }
    void seek(int64_t frame) override
    {
        EXPECT_TRUE(frame >= 0 && frame <= frames_) << "sought " << frame;
        next_ = frame;
        ++seeks;
    }
    void repeat(int64_t from, int64_t at, int64_t bytes) override
    {
        EXPECT_LE(from + bytes, at);
        std::memcpy(destination_.data() + at / kFrame, destination_.data() + from / kFrame,
                    static_cast<std::size_t>(bytes));
    }

    int64_t failAt = INT64_MAX; ///< the frame from which nothing can be read
    int seeks = 0;
    [[nodiscard]] int64_t next() const { return next_; }

private:
    int64_t frames_;
    int64_t next_;
    std::vector<int32_t> &destination_;
};

struct Case {
    int64_t frames, start, end, position, request;
    bool loop;
};

std::ostream &operator<<(std::ostream &out, const Case &c)
{
    return out << "frames " << c.frames << " start " << c.start << " end " << c.end << " position " << c.position
               << " request " << c.request << (c.loop ? " loop" : "");
}

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

void expectWalkEqualsModel(const Case &c)
{
    SCOPED_TRACE(testing::PrintToString(c));
    std::vector<int32_t> out(static_cast<std::size_t>(c.request), -1);
    NumberedData data(c.frames, c.position * kFrame, out);
    const auto result = kx::walkLoop({c.start * kFrame, c.end * kFrame, c.frames * kFrame, kFrame, c.loop},
                                     c.position * kFrame, c.request * kFrame, data);
    const std::vector<int32_t> expected = model(c);
    ASSERT_EQ(result.count, static_cast<int64_t>(expected.size()) * kFrame);
    ASSERT_TRUE(std::equal(expected.begin(), expected.end(), out.begin()));
    ASSERT_EQ(result.position, data.next() * kFrame) << "the data stands where the position says";
    ASSERT_EQ(result.ended, !c.loop && c.position + c.request >= c.frames);
    ASSERT_LE(data.seeks, 3) << "whole passes are copied, not sought";
}

TEST(LoopWalk, EqualsAFrameByFrameModelOverRandomRangesAndRequests)
{
    std::mt19937 random(77);
    const auto below = [&](int64_t limit) { return static_cast<int64_t>(random() % static_cast<uint64_t>(limit)); };
    for (int round = 0; round < 20000; ++round) {
        const int64_t frames = 1 + below(round % 3 == 0 ? 40 : 3000);
        const int64_t start = below(frames);
        const int64_t end = start + 1 + below(round % 5 == 0 ? 2 * frames : frames - start);
        expectWalkEqualsModel({frames, start, end, below(frames + 1), 1 + below(600), round % 4 != 0});
        if (HasFatalFailure())
            return;
    }
}

TEST(LoopWalk, ThatEndsWithTheDataIsBackAtTheStart)
{
    std::vector<int32_t> out(512, -1);
    NumberedData data(441000, 440488, out);
    EXPECT_EQ(kx::walkLoop({0, 1764000, 1764000, 4, true}, 1764000 - 2048, 2048, data).position, 0);
}

TEST(LoopWalk, BoundsWhateverTheSettersStored)
{
    const int64_t size = 4000;
    const kx::LoopRange empties[] = {{400, 400, size, 4, true}, {800, 400, size, 4, true}, {4000, 8000, size, 4, true},
                                     {401, 403, size, 4, true}, {0, 0, 0, 4, true},        {0, -8, size, 4, false},
                                     {0, 4000, size, 0, true}};
    for (const auto &range : empties) {
        std::vector<int32_t> out(64, -1);
        NumberedData data(1000, 100, out);
        const auto result = kx::walkLoop(range, 100, 256, data);
        EXPECT_EQ(result.count, 0) << range.start << ".." << range.end;
        EXPECT_EQ(result.position, 100) << "an empty range moves nothing";
        EXPECT_FALSE(result.ended);
    }
    std::vector<int32_t> out(64, -1);
    NumberedData data(1000, 0, out);
    const auto result = kx::walkLoop({-4001, 4002, size, 4, true}, -7, 257, data);
    EXPECT_EQ(result.count, 256) << "whole frames only";
    EXPECT_EQ(result.position, 256);
    EXPECT_EQ(out[0], 0);
}

TEST(LoopWalk, AShortReadEndsTheWalkAndWhatExistsIsLooped)
{
    std::vector<int32_t> out(512, -1);
    NumberedData data(2000, 400, out);
    data.failAt = 300;
    const kx::LoopRange loop{40, 4000, 8000, 4, true};
    auto result = kx::walkLoop(loop, 400, 2048, data);
    EXPECT_EQ(result.count, 800) << "frames 100 to 299";
    result = kx::walkLoop(loop, result.position, 2048, data);
    EXPECT_EQ(out[0], 10) << "from the start of the range";
    EXPECT_EQ(result.count, 290 * kFrame);

    data.seek(100);
    const auto straight = kx::walkLoop({40, 4000, 8000, 4, false}, 400, 2048, data);
    EXPECT_EQ(straight.count, 800);
    EXPECT_TRUE(straight.ended) << "data that cannot be read on has ended";
}

} // namespace
