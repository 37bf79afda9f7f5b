#pragma once

#include "Apps/kxtool/Commands.h"
#include "Apps/kxtool/Failure.h"
#include "kx/Player.h"

#include <string>

namespace kxtool
{

/// A player with the file loaded, and the effect that the options ask for. Throws Failure where that cannot be.
kx::Player makePlayer(const std::string &file, const EffectOptions &effect);

/// Throws UsageError for a start at or beyond the end, whatever the file.
void requireOrder(const RangeOptions &range);
/// The range of a file of that length. Throws Failure where it does not lie in the file.
kx::Range rangeIn(const std::string &file, const RangeOptions &range, kx::Frames length);

/// Throws UsageError where both names lead to the same file.
void requireDifferentFiles(const std::string &input, const std::string &output);

} // namespace kxtool
