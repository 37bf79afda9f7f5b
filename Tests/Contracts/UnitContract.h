#pragma once

#include "KXFW/Platform/AudioUnits/AudioUnit.h"

#include <functional>
#include <string>

namespace kx::test
{

/// What every unit that others pull must keep, whatever it does to the sound: one output for any cut into slices,
/// a repeat after a reset, no allocation, free or plain lock in a render, and statuses for what does not fit.
struct UnitContract {
    std::string name; ///< is printed with each failure
    AudioComponentDescription component;
    std::function<void(AudioUnit unit)> configure; ///< a new unit, not yet initialised, for linear PCM

    void check() const;
};

} // namespace kx::test
