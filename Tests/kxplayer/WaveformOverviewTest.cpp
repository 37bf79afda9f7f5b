#include "Apps/kxplayer/WaveformOverview.h"
#include "Tests/Support/Media.h"

#include <gtest/gtest.h>

#include <QTest>

#include <algorithm>
#include <cstring>
#include <random>

using namespace kx::test;
using kxplayer::Peak;
using kxplayer::WaveformLevels;
using kxplayer::WaveformOverview;

namespace
{

Peak naivePeak(const std::vector<int16_t> &samples, int64_t first, int64_t end)
{
    const auto begin = samples.begin() + first * 2;
    const auto [least, greatest] = std::minmax_element(begin, samples.begin() + end * 2);
    return {*least, *greatest};
}

bool includes(Peak peak, const Peak &other)
{
    const Peak before = peak;
    peak.include(other);
    return peak == before;
}

void expectNaivePeaks(const WaveformLevels &levels, const std::vector<int16_t> &samples)
{
    const auto frames = static_cast<int64_t>(samples.size() / 2);
    for (std::size_t level = 0; level < levels.levelCount(); ++level) {
        const int64_t size = levels.blockFrames(level);
        std::vector<Peak> naive;
        for (int64_t first = 0; first < frames; first += size)
            naive.push_back(naivePeak(samples, first, std::min(first + size, frames)));
        const auto blocks = levels.blocks(level);
        ASSERT_TRUE(std::ranges::equal(blocks, naive)) << frames << " frames, level " << level;
    }
}

TEST(WaveformLevels, EqualNaivePeaksAtEveryLevelAndForAnySpan)
{
    std::mt19937 random(7);
    for (const int64_t frames : {1L, 3L, 4L, 5L, 1021L, 65536L, 65537L, 300001L}) {
        std::vector<int16_t> samples(static_cast<std::size_t>(frames * 2));
        std::ranges::generate(samples, [&] { return static_cast<int16_t>(random()); });
        WaveformLevels levels(frames);
        for (std::size_t i = 0; i < samples.size();) { // in pieces that divide nothing
            const std::size_t piece = std::min<std::size_t>(2 * (1 + random() % 5000), samples.size() - i);
            levels.add(std::span(samples).subspan(i, piece));
            i += piece;
            const int64_t done = levels.framesDone();
            ASSERT_LE(done, static_cast<int64_t>(i / 2));
            ASSERT_TRUE(done == 0 || includes(*levels.peakOf(0, done), naivePeak(samples, 0, done))) << done;
        }
        levels.add(samples); // beyond the length
        levels.end();
        EXPECT_EQ(levels.framesDone(), frames);
        EXPECT_LE(static_cast<int64_t>(levels.blocks(0).size()), WaveformLevels::kMostBlocks);
        EXPECT_EQ(levels.blocks(levels.levelCount() - 1).size(), 1U);
        expectNaivePeaks(levels, samples);
        for (int i = 0; i < 200; ++i) {
            const auto first = static_cast<int64_t>(random() % static_cast<uint64_t>(frames));
            const int64_t end = first + 1 + static_cast<int64_t>(random() % static_cast<uint64_t>(frames - first));
            const int64_t beyond = std::max((end - first) / 2, levels.blockFrames(0)); // of whole blocks, at most
            const Peak most = naivePeak(samples, std::max<int64_t>(first - beyond, 0), std::min(end + beyond, frames));
            const auto peak = levels.peakOf(first, end);
            EXPECT_TRUE(peak && includes(*peak, naivePeak(samples, first, end)) && includes(most, *peak))
                << first << " to " << end << " of " << frames;
        }
    }
}

TEST(WaveformLevels, TakeLittleMemoryForAnyLengthAndKnowNothingOfNothing)
{
    WaveformLevels none(INT64_MIN);
    none.add(std::vector<int16_t>(10));
    none.end();
    EXPECT_FALSE(none.peakOf(0, 1));
    WaveformLevels longest(INT64_MAX);
    EXPECT_EQ(longest.numFrames(), WaveformLevels::kMostFrames);
    EXPECT_EQ(longest.blockFrames(0), WaveformLevels::kMostFrames / WaveformLevels::kMostBlocks);
    longest.add(std::vector<int16_t>(2000, 5));
    EXPECT_FALSE(longest.peakOf(0, 1000)) << "no block of it is complete";
    longest.end();
    EXPECT_EQ(longest.peakOf(0, 1000), (Peak{5, 5}));
    EXPECT_FALSE(longest.peakOf(1000, 2000));
}

TEST(WaveformOverview, EqualsTheFilesPeaksAndEndsWithWhatCouldBeRead)
{
    const Media stereo{.frames = 100003};
    WaveformOverview overview;
    const auto levels = overview.open(make(stereo), stereo.frames);
    ASSERT_TRUE(QTest::qWaitFor([&] { return levels->hasEnded(); }, 30000));
    const auto source = samples(stereo);
    expectNaivePeaks(*levels, std::vector<int16_t>(source.begin(), source.end()));

    auto bytes = readBytes(make({.frames = 40000}));
    bytes.resize(bytes.size() / 2);
    const std::tuple<std::filesystem::path, int64_t, int64_t> table[] = {
        // each is said to have 1,000,000
        {make({.rate = 22050, .channels = 1, .frames = 50000}), 100000, 100000},
        {fileOf("cut.wav", bytes), 1, 20000},
        {temporaryPath("missing.wav"), 0, 0}};
    for (const auto &[file, least, most] : table) {
        const auto read = overview.open(file, 1000000);
        ASSERT_TRUE(QTest::qWaitFor([&] { return read->hasEnded(); }, 30000)) << file;
        EXPECT_TRUE(read->framesDone() >= least && read->framesDone() <= most) << file << read->framesDone();
    }
}

TEST(WaveformOverview, LeavesAnHourAtOnceForAnotherFile)
{
    constexpr int64_t frames = int64_t{3600} * 44100;
    auto bytes = waveBytes(44100, 2, 16, std::vector<int32_t>(2)); // silence that takes no room on the disk
    const auto dataBytes = static_cast<uint32_t>(frames * 4);
    std::memcpy(&bytes[40], &dataBytes, sizeof dataBytes);
    const auto path = fileOf("hour.wav", bytes);
    std::filesystem::resize_file(path, 44 + dataBytes);
    std::vector<std::shared_ptr<const WaveformLevels>> left;
    {
        WaveformOverview overview;
        for (int i = 0; i < 5; ++i)
            left.push_back(overview.open(path, frames));
        // It reads when all else is idle.
        ASSERT_TRUE(QTest::qWaitFor([&] { return left.back()->framesDone() > 0; }, 120000));
    }
    for (const auto &levels : left)
        EXPECT_TRUE(QTest::qWaitFor([&] { return levels->hasEnded(); }, 120000)) << "no thread goes on";
    EXPECT_LT(left.front()->framesDone(), frames);
    EXPECT_LT(left.back()->framesDone(), frames);
}

} // namespace
