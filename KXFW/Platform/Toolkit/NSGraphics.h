#pragma once

#include "KXFW/Platform/Foundation/Export.h"
#include "KXFW/Platform/Foundation/Geometry.h"

class QPainter;

/// Draws a frame 1 point wide along the inside of `rect`, in the current colour (NSColor::set). Only while a view's
/// `drawRect` runs; elsewhere it draws nothing. [main]
KX_EXPORT void NSFrameRect(const NSRect &rect);

namespace kx
{

/// Makes `painter`, whose coordinates are the view's, the one that the drawing functions use, until the scope ends.
/// [main]
class DrawingScope
{
public:
    explicit DrawingScope(QPainter &painter); ///< [main]
    ~DrawingScope();                          ///< [main]
    DrawingScope(const DrawingScope &) = delete;
    DrawingScope &operator=(const DrawingScope &) = delete;

private:
    QPainter *outer_;
};

} // namespace kx
