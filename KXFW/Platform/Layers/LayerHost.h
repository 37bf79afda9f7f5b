#pragma once

#include "KXFW/Platform/Foundation/Export.h"
#include "KXFW/Platform/Foundation/Geometry.h"

#include <vector>

class CALayer;

namespace kx
{

/// What shows a layer tree. It is told of changes, once for each transaction.
class KX_EXPORT LayerHost
{
public:
    /// These areas, in the coordinates of the tree's root, look different now. [main]
    virtual void layersDidChange(const std::vector<NSRect> &areas) = 0;

    /// Who shows the tree under `root` from now on, borrowed: set it to null before it goes. [main]
    static void set(CALayer &root, LayerHost *host);

protected:
    ~LayerHost() = default;
};

} // namespace kx
