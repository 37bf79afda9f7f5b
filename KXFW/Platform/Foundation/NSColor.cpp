#include "KXFW/Platform/Foundation/NSColor.h"

namespace
{

constinit NSColor drawingColor; // of the main thread, the only one that draws

} // namespace

void NSColor::set() const noexcept
{
    drawingColor = *this;
}

NSColor NSColor::current() noexcept
{
    return drawingColor;
}
