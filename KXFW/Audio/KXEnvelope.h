#pragma once

#include "KXFW/Platform/Foundation/AudioTypes.h"
#include "KXFW/Platform/Foundation/Export.h"

#include <cstdint>

/// What shapes an oscillator's level over time; applications implement it.
class KX_EXPORT KXEnvelope
{
public:
    KXEnvelope() = default;
    virtual ~KXEnvelope(); ///< [any]
    KXEnvelope(const KXEnvelope &) = delete;
    KXEnvelope &operator=(const KXEnvelope &) = delete;

    /// Writes the next `*numSamples` levels, linear gains, to `values`; the count is only read, and an oscillator asks
    /// for 1 at each of its samples. Called on the thread that pulls the oscillator, whose properties it may set; where
    /// that renders, it must not allocate, free, lock, log or throw.
    /// @return 0; any other status makes the oscillator take 1 for the level, whatever was written. [render]
    virtual OSStatus pull(double *values, const uint32_t *numSamples) = 0;
};
