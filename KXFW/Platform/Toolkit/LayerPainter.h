#pragma once

#include "KXFW/Platform/Layers/CALayer.h"

class QPainter;

namespace kx
{

/// Paints the tree under `root`, in the root's own coordinates, which `painter` is set up for. What lies outside
/// `area` may be left out. [main]
void paintLayers(QPainter &painter, const CALayer &root, const NSRect &area);

} // namespace kx
