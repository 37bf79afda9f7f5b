#pragma once

#include "KXFW/UI/KXARangeKnobLayer.h"

/// The knob at the end of a range: the mirror image of the one at its start. Main thread only.
class KX_EXPORT KXAEndRangeKnobLayer : public KXARangeKnobLayer
{
public:
    // All [main].

    void strokePath(CGPath &path, const NSRect &frame) const override;
    [[nodiscard]] NSPoint hotSpot() const override; ///< The top left.
};
