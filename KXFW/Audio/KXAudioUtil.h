/// @file
/// The standard description: the linear format in which files are read, the player's input starts, and exports are
/// written. 44,100 Hz, 16-bit big-endian signed integers, packed, 2 channels, 4 bytes a frame.
#pragma once

#include "KXFW/Platform/Foundation/AudioTypes.h"
#include "KXFW/Platform/Foundation/Export.h"

extern "C" {

/// The standard description, by value. [any]
KX_EXPORT AudioStreamBasicDescription GetStandardDescription();

/// Fills `description` (borrowed, not null) with the standard description. [any]
KX_EXPORT void SetStandardDescription(AudioStreamBasicDescription *description);
}
