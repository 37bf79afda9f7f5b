#pragma once

#include "KXFW/Platform/AudioUnits/AudioUnit.h"

#include <memory>
#include <span>

namespace kx
{

class Unit;

/// A unit is a file in Units/, a maker below and a row in ComponentTable.cpp.
struct ComponentRow {
    AudioComponentDescription description;
    std::shared_ptr<Unit> (*make)();
};

/// In the order in which searches find them. [any]
std::span<const ComponentRow> componentTable() noexcept;

// The units.
std::shared_ptr<Unit> makeFormatConverterUnit();
std::shared_ptr<Unit> makeOutputUnit();
std::shared_ptr<Unit> makeTimePitchUnit();

} // namespace kx
