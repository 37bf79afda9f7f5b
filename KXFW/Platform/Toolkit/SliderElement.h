#pragma once

#include "KXFW/Platform/Foundation/Export.h"
#include "KXFW/Platform/Foundation/Geometry.h"

#include <cstdint>
#include <string>

namespace kx
{

/// A part of a view that the keyboard moves and a screen reader speaks, as a slider. The view's host makes a focus stop
/// of it. Arrows move by `step`, Page Up and Page Down by `page`, Home and End to the limits. Main thread only.
class KX_EXPORT SliderElement
{
public:
    virtual ~SliderElement() = default;

    // All [main].

    [[nodiscard]] virtual std::string name() const = 0;      ///< What it is, for a screen reader.
    [[nodiscard]] virtual std::string valueText() const = 0; ///< The value as it is spoken.
    [[nodiscard]] virtual bool enabled() const = 0;
    [[nodiscard]] virtual NSRect frame() const = 0; ///< Where the focus shows, in the view's coordinates.
    [[nodiscard]] virtual int64_t value() const = 0;
    [[nodiscard]] virtual int64_t minimum() const = 0;
    [[nodiscard]] virtual int64_t maximum() const = 0;
    [[nodiscard]] virtual int64_t step() const = 0;
    [[nodiscard]] virtual int64_t page() const = 0;
    /// Moves it as the user's hand would: within the limits, and telling whom a drag tells.
    virtual void move(int64_t value) = 0;
};

} // namespace kx
