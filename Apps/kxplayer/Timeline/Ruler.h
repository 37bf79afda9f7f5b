#pragma once

#include "Apps/kxplayer/Timeline/Viewport.h"

#include <string>
#include <vector>

namespace kxplayer
{

struct Tick {
    double frame = 0;
    std::string label; ///< none for the ticks between those that are labelled
};

/// The ticks of a time ruler over what is seen, in their order, and one labelled before it whose label may reach in.
/// Labels are times as detailed as their distance needs, and numbers of frames where that is below a millisecond; each
/// has room to the right of its tick where a character is `characterWidth` pixels wide. None where none has.
[[nodiscard]] std::vector<Tick> ticksOf(const Viewport &view, double characterWidth);

} // namespace kxplayer
