#include "Apps/kxplayer/Timeline/WaveSource.h"

#include <algorithm>
#include <cmath>

namespace kxplayer
{

namespace
{

constexpr int64_t kFewFrames = 2 * SampleWindow::kBlockFrames; ///< below that a column is made of samples
constexpr double kThinFrames = 4;                              ///< below that a column is a piece of a line

Extent lineOf(const SampleWindow &window, int channel, double first, double end)
{
    const auto sampleAt = [&](int64_t frame) {
        const int64_t known = std::clamp(frame, window.first, window.end() - 1) - window.first;
        return window.interleaved[static_cast<std::size_t>(known * 2 + channel)];
    };
    const auto between = [&](double place) {
        const auto frame = static_cast<int64_t>(std::floor(place));
        const double share = place - std::floor(place);
        return static_cast<int16_t>(std::lround(sampleAt(frame) * (1 - share) + sampleAt(frame + 1) * share));
    };
    auto [least, greatest] = std::minmax({between(first), between(end)});
    for (auto frame = static_cast<int64_t>(std::ceil(first)); static_cast<double>(frame) < end; ++frame) {
        least = std::min(least, sampleAt(frame));
        greatest = std::max(greatest, sampleAt(frame));
    }
    return {least, greatest, INT16_MAX};
}

Block blockOfSamples(const SampleWindow &window, double first, double end)
{
    Block line{lineOf(window, 0, first, end), lineOf(window, 1, first, end)};
    if (end - first < kThinFrames)
        return line;
    BlockSum sum;
    const auto from = static_cast<int64_t>(std::floor(first)) - window.first;
    const auto to = std::min(static_cast<int64_t>(std::ceil(end)), window.end()) - window.first;
    const std::size_t begin = static_cast<std::size_t>(from) * 2;
    sum.add(std::span(window.interleaved).subspan(begin, static_cast<std::size_t>(to) * 2 - begin));
    line.left.rms = sum.block().left.rms;
    line.right.rms = sum.block().right.rms;
    return line;
}

} // namespace

bool WaveSource::wantsSamples(double framesPerColumn) const
{
    return overview && framesPerColumn < static_cast<double>(overview->blockFrames());
}

std::optional<Block> WaveSource::column(double first, double end) const
{
    if (!overview || end <= 0 || first >= static_cast<double>(overview->numFrames()))
        return {};
    const auto from = static_cast<int64_t>(std::floor(std::max(first, 0.0)));
    const auto to = std::min(static_cast<int64_t>(std::floor(end)) + 1, overview->numFrames());
    if (!wantsSamples(end - first) || !samples || !samples->covers(from, to) || from >= to)
        return overview->blockOf(from, to);
    if (to - from >= kFewFrames)
        return samples->overview->blockOf(from - samples->first, to - samples->first);
    return blockOfSamples(*samples, std::max(first, 0.0), end);
}

} // namespace kxplayer
