#pragma once

#include "Apps/kxplayer/Timeline/Overview.h"
#include "Apps/kxplayer/Timeline/SampleReader.h"

#include <memory>
#include <optional>

namespace kxplayer
{

/// What a waveform is painted from: a file's overview, and the samples of a part of it where they are read.
struct WaveSource {
    std::shared_ptr<const Overview> overview; ///< null without a file
    std::shared_ptr<const SampleWindow> samples;

    /// What a column of pixels shows that reaches from `first` to `end`, places between frames included; none where
    /// nothing is known. From single samples it is the line that joins them, all of it body.
    [[nodiscard]] std::optional<Block> column(double first, double end) const;
    /// Whether columns of that many frames want samples, as the overview is too coarse.
    [[nodiscard]] bool wantsSamples(double framesPerColumn) const;
};

} // namespace kxplayer
