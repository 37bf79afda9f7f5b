#include "Apps/kxplayer/Timeline/WaveMask.h"

#include <algorithm>
#include <cmath>

namespace kxplayer
{

namespace
{

constexpr double kFullScale = 32768;

Extent joined(const Extent &left, const Extent &right)
{
    const double squares = (double(left.rms) * left.rms + double(right.rms) * right.rms) / 2;
    return {std::min(left.least, right.least), std::max(left.greatest, right.greatest),
            static_cast<int16_t>(std::lround(std::sqrt(squares)))};
}

} // namespace

/// Columns that stand side by side, by the rows at which their parts begin and end.
struct WaveMask::Strip {
    std::vector<int> peakTop, peakEnd, bodyTop, bodyEnd;

    void add(const std::optional<Extent> &extent, const Lane &lane, double gain)
    {
        const double middle = lane.height / 2.0;
        const auto rowOf = [&](double sample) {
            const double row = std::floor(middle - sample / kFullScale * gain * (middle - 1));
            return static_cast<int>(std::clamp(row, 0.0, lane.height - 1.0));
        };
        if (!extent) {
            for (auto *rows : {&peakTop, &peakEnd, &bodyTop, &bodyEnd})
                rows->push_back(0);
            return;
        }
        peakTop.push_back(rowOf(extent->greatest));
        peakEnd.push_back(rowOf(extent->least) + 1);
        bodyTop.push_back(std::max(peakTop.back(), rowOf(extent->rms)));
        bodyEnd.push_back(std::min(peakEnd.back(), rowOf(-double(extent->rms)) + 1));
    }
};

void WaveMask::setLook(const WaveLook &look)
{
    if (look == look_)
        return;
    if (look.width != look_.width || look.height != look_.height)
        kinds_.assign(static_cast<std::size_t>(look.width) * static_cast<std::size_t>(look.height), Ground);
    look_ = look;
    forget();
}

std::size_t WaveMask::placeOf(int64_t column) const noexcept
{
    return static_cast<std::size_t>((column % look_.width + look_.width) % look_.width);
}

void WaveMask::paint(int64_t first, const WaveSource &source)
{
    const int64_t end = first + look_.width;
    const int64_t keptFirst = std::max(first, first_);
    const int64_t keptEnd = std::min(end, end_);
    if (keptFirst < keptEnd) {
        paintColumns(first, keptFirst, source);
        paintColumns(keptEnd, end, source);
    } else
        paintColumns(first, end, source);
    const double known = source.overview ? static_cast<double>(source.overview->framesDone()) : 0;
    const bool isAll = !source.overview || source.overview->hasEnded();
    const auto knownColumns = static_cast<int64_t>(known / look_.framesPerColumn);
    first_ = first;
    end_ = isAll ? end : std::clamp(knownColumns, first, end);
}

void WaveMask::paintColumns(int64_t first, int64_t end, const WaveSource &source)
{
    while (first < end) { // in pieces that do not pass the last place
        const auto room = look_.width - static_cast<int64_t>(placeOf(first));
        const int64_t columns = std::min(end - first, room);
        paintStrip(first, static_cast<std::size_t>(columns), source);
        first += columns;
    }
}

void WaveMask::paintStrip(int64_t first, std::size_t columns, const WaveSource &source)
{
    const int upper = look_.lanes ? look_.height / 2 : look_.height;
    const Lane lanes[] = {{0, upper}, {upper, look_.height - upper}};
    Strip strips[2];
    for (std::size_t i = 0; i < columns; ++i) {
        const double from = static_cast<double>(first + static_cast<int64_t>(i)) * look_.framesPerColumn;
        const auto block = source.column(from, from + look_.framesPerColumn);
        const auto of = [&](const Extent &extent) { return block ? std::optional(extent) : std::nullopt; };
        if (look_.lanes) {
            strips[0].add(of(block.value_or(Block()).left), lanes[0], look_.gain);
            strips[1].add(of(block.value_or(Block()).right), lanes[1], look_.gain);
        } else
            strips[0].add(of(joined(block.value_or(Block()).left, block.value_or(Block()).right)), lanes[0],
                          look_.gain);
    }
    fillLane(first, lanes[0], strips[0]);
    if (look_.lanes)
        fillLane(first, lanes[1], strips[1]);
}

void WaveMask::fillLane(int64_t first, const Lane &lane, const Strip &strip)
{
    const std::size_t columns = strip.peakTop.size();
    const int *const peakTop = strip.peakTop.data();
    const int *const peakEnd = strip.peakEnd.data();
    const int *const bodyTop = strip.bodyTop.data();
    const int *const bodyEnd = strip.bodyEnd.data();
    const int middle = lane.height / 2;
    for (int row = 0; row < lane.height; ++row) {
        const auto line = static_cast<std::size_t>(lane.top + row) * static_cast<std::size_t>(look_.width);
        uint8_t *const kinds = &kinds_[line + placeOf(first)];
        const Kind ground = row == middle ? Centre : Ground;
        for (std::size_t i = 0; i < columns; ++i) {
            const Kind peak = row >= peakTop[i] && row < peakEnd[i] ? Peak : ground;
            kinds[i] = row >= bodyTop[i] && row < bodyEnd[i] ? Body : peak;
        }
    }
}

void WaveMask::color(int row, int64_t first, const Colors &colors, std::span<uint32_t> pixels) const
{
    const uint8_t *const kinds = &kinds_[static_cast<std::size_t>(row) * static_cast<std::size_t>(look_.width)];
    std::size_t place = placeOf(first);
    for (uint32_t &pixel : pixels) {
        pixel = colors[kinds[place]];
        if (++place == static_cast<std::size_t>(look_.width))
            place = 0;
    }
}

} // namespace kxplayer
