#pragma once

#include "KXFW/Platform/AudioUnits/AudioUnit.h"

#include <functional>

namespace kx::test
{

/// What every unit that others pull must keep, whatever it does to the sound: one output for any cut into slices and
/// any longest slice, a repeat after a reset, no allocation, free or plain lock in a render, and statuses for what does
/// not fit. `configure` gets a new unit, not yet initialised, for linear PCM.
void checkContract(const AudioComponentDescription &component, const std::function<void(AudioUnit unit)> &configure);
/// Of a unit that is no component; it is disposed of.
void checkContract(AudioUnit unit);

} // namespace kx::test
