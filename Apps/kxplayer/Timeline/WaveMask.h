#pragma once

#include "Apps/kxplayer/Timeline/WaveSource.h"

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace kxplayer
{

/// How a waveform is laid out, in pixels of the screen.
struct WaveLook {
    int width = 0;
    int height = 0;
    double framesPerColumn = 1;
    bool lanes = false; ///< left above right; else both in one
    double gain = 1;    ///< of the height

    bool operator==(const WaveLook &) const = default;
};

/// A painted waveform without its colours: for each pixel what is there. Columns stand for fixed frames of the file, so
/// that those that stay in view stay painted while it moves, and colours change without painting it anew.
class WaveMask
{
public:
    enum Kind : uint8_t { Ground, Peak, Body, Centre };
    using Colors = std::array<uint32_t, 4>; ///< one for each kind

    /// Lays it out anew, where that is another one.
    void setLook(const WaveLook &look);
    [[nodiscard]] const WaveLook &look() const noexcept { return look_; }
    /// What is painted is out of date.
    void forget() noexcept { end_ = first_; }
    /// Paints the columns from `first` on, as wide as it is, that are not yet; those that nothing is known of stay to
    /// be painted.
    void paint(int64_t first, const WaveSource &source);
    /// The pixels of a row from column `first` up to `first` + `pixels`, which were painted.
    void color(int row, int64_t first, const Colors &colors, std::span<uint32_t> pixels) const;

private:
    struct Lane {
        int top;
        int height;
    };
    struct Strip;

    void paintColumns(int64_t first, int64_t end, const WaveSource &source);
    void paintStrip(int64_t first, std::size_t columns, const WaveSource &source);
    void fillLane(int64_t first, const Lane &lane, const Strip &strip);
    [[nodiscard]] std::size_t placeOf(int64_t column) const noexcept;

    WaveLook look_;
    std::vector<uint8_t> kinds_; ///< row by row; a column stands at the rest of its number by the width
    int64_t first_ = 0;          ///< the columns that are painted
    int64_t end_ = 0;
};

} // namespace kxplayer
