#pragma once

#include "KXFW/Platform/Foundation/Geometry.h"

/// A press, drag or release of the left mouse button. A value.
class NSEvent
{
public:
    explicit NSEvent(NSPoint locationInWindow) noexcept : locationInWindow_(locationInWindow) {} ///< [any]

    /// Where the pointer is, in points: from the bottom left of the window's content, y growing upward. It may lie
    /// outside the view, and outside the window. [any]
    [[nodiscard]] NSPoint locationInWindow() const noexcept { return locationInWindow_; }

private:
    NSPoint locationInWindow_;
};
