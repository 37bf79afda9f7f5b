#include "Apps/kxplayer/Timeline/WavePainter.h"

#include <algorithm>
#include <cmath>
#include <span>

namespace kxplayer
{

namespace
{

constexpr double kRangeTint = 0.16;
constexpr double kPeakStrength = 0.34; ///< of the text's, or of the accent's
constexpr double kBodyStrength = 0.60;
constexpr double kCentreStrength = 0.14;
constexpr double kPlayedPeakStrength = 0.50;
constexpr double kPlayedBodyStrength = 0.95;
constexpr double kFaintShare = 0.55; ///< of the ground
constexpr int kDarkAccent = 110;     ///< lightness, on a dark ground too dark below that

} // namespace

QColor mixed(const QColor &back, const QColor &front, double share)
{
    const auto mix = [&](int from, int to) { return static_cast<int>(std::lround(from + (to - from) * share)); };
    return {mix(back.red(), front.red()), mix(back.green(), front.green()), mix(back.blue(), front.blue())};
}

QColor accentOf(const QPalette &palette)
{
    const QColor accent = palette.color(QPalette::Highlight);
    const bool onDark = palette.color(QPalette::Base).lightness() < palette.color(QPalette::Text).lightness();
    return onDark && accent.lightness() < kDarkAccent ? accent.lighter(150) : accent;
}

WaveMask::Colors waveColors(const QPalette &palette, const WaveState &state)
{
    const QColor base = palette.color(QPalette::Base);
    const QColor text = palette.color(QPalette::Text);
    const QColor accent = accentOf(palette);
    const QColor ground = state.inRange ? mixed(base, state.loops ? accent : text, kRangeTint) : base;
    const QColor wave = state.played ? accent : text;
    const auto color = [&](double share) {
        const QColor strong = mixed(ground, wave, share);
        return (state.faint ? mixed(strong, base, kFaintShare) : strong).rgb();
    };
    return {color(0), color(state.played ? kPlayedPeakStrength : kPeakStrength),
            color(state.played ? kPlayedBodyStrength : kBodyStrength), mixed(ground, text, kCentreStrength).rgb()};
}

void WavePainter::addUpTo(double frame, const WaveMask::Colors &colors)
{
    const auto end = static_cast<int64_t>(std::lround(frame / mask_.look().framesPerColumn));
    const int64_t before = parts_.empty() ? first_ : parts_.back().end;
    if (end > before)
        parts_.push_back({std::min(end, first_ + mask_.look().width), colors});
}

void WavePainter::addRest(const WaveMask::Colors &colors)
{
    parts_.push_back({first_ + mask_.look().width, colors});
}

void WavePainter::paint(QPainter &painter, const QRect &area) const
{
    const double scale = painter.deviceTransform().m11();
    const QRect wanted(
        QPoint(static_cast<int>(std::floor(area.left() * scale)), static_cast<int>(std::floor(area.top() * scale))),
        QPoint(static_cast<int>(std::ceil((area.right() + 1) * scale)) - 1,
               static_cast<int>(std::ceil((area.bottom() + 1) * scale)) - 1));
    const QRect seen = wanted.intersected({origin_, QSize(mask_.look().width, mask_.look().height)});
    if (seen.isEmpty())
        return;
    QImage image(seen.size(), QImage::Format_RGB32);
    const int64_t first = first_ + seen.left() - origin_.x();
    const int64_t end = first + seen.width();
    for (int y = 0; y < seen.height(); ++y) {
        auto *const pixels = reinterpret_cast<uint32_t *>(image.scanLine(y));
        int64_t from = first;
        for (const Part &part : parts_) {
            const int64_t to = std::min(part.end, end);
            if (to <= from)
                continue;
            mask_.color(seen.top() - origin_.y() + y, from, part.colors,
                        std::span(pixels + (from - first), static_cast<std::size_t>(to - from)));
            from = to;
        }
    }
    painter.save();
    painter.scale(1 / scale, 1 / scale);
    painter.drawImage(seen.topLeft(), image);
    painter.restore();
}

} // namespace kxplayer
