#pragma once

#include "KXFW/Platform/Toolkit/NSView.h"

/// A view that outlines what is drawn of it in blue. Interface files know it under its name. Main thread only.
class KX_EXPORT KXMonochromeView : public NSView
{
public:
    /// The outline follows `dirtyRect`, not the bounds: a partial redraw outlines that part. [main]
    void drawRect(const NSRect &dirtyRect) override;
};
