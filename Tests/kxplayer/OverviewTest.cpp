#include "Apps/kxplayer/Timeline/OverviewReader.h"
#include "Tests/Support/Media.h"

#include <gtest/gtest.h>

#include <QTest>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>

using namespace kx::test;
using kxplayer::Block;
using kxplayer::Extent;
using kxplayer::Overview;
using kxplayer::OverviewReader;

namespace
{

Extent naiveExtent(const std::vector<int16_t> &samples, int64_t first, int64_t end, int64_t channel)
{
    Extent extent;
    double squares = 0;
    for (int64_t frame = first; frame < end; ++frame) {
        const int16_t sample = samples[static_cast<std::size_t>(frame * 2 + channel)];
        extent.least = std::min(extent.least, sample);
        extent.greatest = std::max(extent.greatest, sample);
        squares += double(sample) * sample;
    }
    extent.rms = static_cast<int16_t>(std::sqrt(squares / double(end - first)) + 0.5);
    return extent;
}

/// That of a channel's extent, the left one's or the right one's.
const Extent &extentOf(const Block &block, int64_t channel)
{
    return channel == 0 ? block.left : block.right;
}

bool includes(const Extent &most, const Extent &least)
{
    return most.least <= least.least && most.greatest >= least.greatest;
}

void expectNaiveBlocks(const Overview &overview, const std::vector<int16_t> &samples)
{
    const auto frames = static_cast<int64_t>(samples.size() / 2);
    for (std::size_t level = 0; level < overview.levelCount(); ++level) {
        const int64_t size = overview.blockFrames(level);
        const auto blocks = overview.blocks(level);
        ASSERT_EQ(static_cast<int64_t>(blocks.size()), (frames + size - 1) / size);
        for (int64_t first = 0; first < frames; first += size)
            for (const int64_t channel : {0, 1}) {
                const int64_t end = std::min(first + size, frames);
                const Extent naive = naiveExtent(samples, first, end, channel);
                const Extent &extent = extentOf(blocks[static_cast<std::size_t>(first / size)], channel);
                ASSERT_TRUE(extent.least == naive.least && extent.greatest == naive.greatest) << frames << " " << level;
                // A short last block counts as a whole one where blocks are joined.
                ASSERT_TRUE(end - first < size || std::abs(extent.rms - naive.rms) <= 2) << extent.rms << naive.rms;
            }
    }
}

TEST(Overview, EqualsNaiveBlocksAtEveryLevelAndForAnySpan)
{
    std::mt19937 random(7);
    for (const int64_t frames : {1L, 1023L, 1025L, 4097L, 300001L}) {
        std::vector<int16_t> samples(static_cast<std::size_t>(frames * 2));
        std::ranges::generate(samples, [&] { return static_cast<int16_t>(random()); });
        Overview overview(frames);
        for (std::size_t i = 0; i < samples.size();) { // in pieces that divide nothing
            const std::size_t piece = std::min<std::size_t>(2 * (1 + random() % 5000), samples.size() - i);
            overview.add(std::span(samples).subspan(i, piece));
            i += piece;
            ASSERT_LE(overview.framesDone(), static_cast<int64_t>(i / 2));
        }
        overview.add(samples); // beyond the length
        overview.end();
        EXPECT_EQ(overview.framesDone(), frames);
        EXPECT_EQ(overview.blocks(overview.levelCount() - 1).size(), 1U);
        expectNaiveBlocks(overview, samples);
        for (int i = 0; i < 200; ++i) {
            const auto first = static_cast<int64_t>(random() % static_cast<uint64_t>(frames));
            const int64_t end = first + 1 + static_cast<int64_t>(random() % static_cast<uint64_t>(frames - first));
            const int64_t beyond = std::max((end - first) / 2, overview.blockFrames()); // of whole blocks, at most
            const Extent most =
                naiveExtent(samples, std::max<int64_t>(first - beyond, 0), std::min(end + beyond, frames), 1);
            const auto block = overview.blockOf(first, end);
            EXPECT_TRUE(block && includes(block->right, naiveExtent(samples, first, end, 1)) &&
                        includes(most, block->right))
                << first << " to " << end << " of " << frames;
        }
    }
}

TEST(Overview, TakesBoundedMemoryForAnyLengthAndKnowsNothingOfNothing)
{
    Overview none(INT64_MIN);
    none.add(std::vector<int16_t>(10));
    none.end();
    EXPECT_FALSE(none.blockOf(0, 1));
    Overview longest(INT64_MAX);
    EXPECT_EQ(longest.numFrames(), Overview::kMostFrames);
    EXPECT_EQ(longest.blockFrames(), Overview::kMostFrames / Overview::kMostBlocks);
    longest.add(std::vector<int16_t>(2000, 5));
    EXPECT_FALSE(longest.blockOf(0, 1000)) << "no block of it is complete";
    longest.end();
    EXPECT_EQ(longest.blockOf(0, 1000), (Block{{5, 5, 5}, {5, 5, 5}}));
    EXPECT_FALSE(longest.blockOf(1000, 2000));
}

TEST(OverviewReader, ReadsTheWholeFileAndEndsWithWhatCouldBeRead)
{
    const Media stereo{.frames = 100003};
    OverviewReader reader;
    const auto levels = reader.open(make(stereo), stereo.frames);
    ASSERT_TRUE(QTest::qWaitFor([&] { return levels->hasEnded(); }, 30000));
    const auto source = samples(stereo);
    expectNaiveBlocks(*levels, std::vector<int16_t>(source.begin(), source.end()));

    auto bytes = readBytes(make({.frames = 40000}));
    bytes.resize(bytes.size() / 2);
    const std::tuple<std::filesystem::path, int64_t, int64_t> table[] = {
        // each is said to have 1,000,000
        {make({.rate = 22050, .channels = 1, .frames = 50000}), 100000, 100000},
        {fileOf("cut.wav", bytes), 1, 20000},
        {temporaryPath("missing.wav"), 0, 0}};
    for (const auto &[file, least, most] : table) {
        const auto read = reader.open(file, 1000000);
        ASSERT_TRUE(QTest::qWaitFor([&] { return read->hasEnded(); }, 30000)) << file;
        EXPECT_TRUE(read->framesDone() >= least && read->framesDone() <= most) << file << read->framesDone();
    }
}

TEST(OverviewReader, LeavesAnHourAtOnceForAnotherFile)
{
    constexpr int64_t frames = int64_t{3600} * 44100;
    auto bytes = waveBytes(44100, 2, 16, std::vector<int32_t>(2)); // silence that takes no room on the disk
    const auto dataBytes = static_cast<uint32_t>(frames * 4);
    std::memcpy(&bytes[40], &dataBytes, sizeof dataBytes);
    const auto path = fileOf("hour.wav", bytes);
    std::filesystem::resize_file(path, 44 + dataBytes);
    std::vector<std::shared_ptr<const Overview>> left;
    {
        OverviewReader reader;
        for (int i = 0; i < 5; ++i)
            left.push_back(reader.open(path, frames));
        // It reads when all else is idle.
        ASSERT_TRUE(QTest::qWaitFor([&] { return left.back()->framesDone() > 0; }, 120000));
    }
    for (const auto &levels : left)
        EXPECT_TRUE(QTest::qWaitFor([&] { return levels->hasEnded(); }, 120000)) << "no thread goes on";
    EXPECT_LT(left.front()->framesDone(), frames);
    EXPECT_LT(left.back()->framesDone(), frames);
}

} // namespace
