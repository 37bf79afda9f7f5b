#pragma once

#include "KXFW/Platform/Foundation/Export.h"
#include "KXFW/Platform/Foundation/Geometry.h"

/// Draws a frame 1 point wide along the inside of `rect`, in the current colour (NSColor::set). Only while a view's
/// `drawRect` runs; elsewhere it draws nothing. [main]
KX_EXPORT void NSFrameRect(const NSRect &rect);
