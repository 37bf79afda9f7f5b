#pragma once

#include "Apps/kxplayer/Timeline/WaveMask.h"

#include <QColor>
#include <QPainter>
#include <QPalette>

#include <vector>

namespace kxplayer
{

/// `share` of `front` over `back`.
[[nodiscard]] QColor mixed(const QColor &back, const QColor &front, double share);

/// The colour of ranges and of what was played: the palette's highlight, made readable on its ground.
[[nodiscard]] QColor accentOf(const QPalette &palette);

/// What a part of a waveform is, besides its shape.
struct WaveState {
    bool played = false;
    bool inRange = false;
    bool loops = false; ///< the range is in use
    bool faint = false;

    bool operator==(const WaveState &) const = default;
};

[[nodiscard]] WaveMask::Colors waveColors(const QPalette &palette, const WaveState &state);

/// Paints a waveform pixel for pixel of the screen, whatever its scale.
class WavePainter
{
public:
    /// The waveform's columns from `first` on at `origin`, in pixels of the widget's part of the screen.
    WavePainter(const WaveMask &mask, int64_t first, QPoint origin) : mask_(mask), first_(first), origin_(origin) {}

    /// The next columns, up to the one at which `frame` is, look like that. From the left to the right.
    void addUpTo(double frame, const WaveMask::Colors &colors);
    void addRest(const WaveMask::Colors &colors);
    /// Paints what of it lies in `area`, in points of the widget.
    void paint(QPainter &painter, const QRect &area) const;

private:
    struct Part {
        int64_t end; ///< column
        WaveMask::Colors colors;
    };

    const WaveMask &mask_;
    int64_t first_;
    QPoint origin_;
    std::vector<Part> parts_;
};

} // namespace kxplayer
