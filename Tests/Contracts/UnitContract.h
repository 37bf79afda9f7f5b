#pragma once

#include "KXFW/Platform/AudioUnits/AudioUnit.h"

#include <functional>
#include <string>

namespace kx::test
{

/// What every unit that others pull must keep, whatever it does to the sound: one output for any cut into slices,
/// a repeat after a reset, no allocation, free or plain lock in a render, statuses for what does not fit, and an
/// orderly end while connected on both sides.
///
/// `configure` sets up a new unit of `component` before it is initialised; its output format must be linear PCM.
/// `name` is printed with each failure.
struct UnitContract {
    std::string name;
    AudioComponentDescription component;
    std::function<void(AudioUnit unit)> configure;

    void check() const;
};

} // namespace kx::test
