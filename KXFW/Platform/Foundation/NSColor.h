#pragma once

#include "KXFW/Platform/Foundation/Export.h"

/// Device RGB, each component from 0 to 1. A value.
struct KX_EXPORT NSColor {
    double red = 0;
    double green = 0;
    double blue = 0;
    double alpha = 1;

    bool operator==(const NSColor &) const = default;

    /// The colour of these components. [any]
    [[nodiscard]] static constexpr NSColor colorWithDeviceRed(double red, double green, double blue,
                                                              double alpha) noexcept
    {
        return {red, green, blue, alpha};
    }
    [[nodiscard]] static constexpr NSColor blueColor() noexcept { return {0, 0, 1, 1}; } ///< [any]

    /// Makes this the colour that drawing functions use from now on. [main]
    void set() const noexcept;
    /// The colour that was set last, at first opaque black. [main]
    [[nodiscard]] static NSColor current() noexcept;
};
