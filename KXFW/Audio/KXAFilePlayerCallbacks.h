/// @file
/// The plain functions through which the platform and the chain reach a player. Applications need none of them.
#pragma once

#include "KXFW/Audio/KXAFilePlayer.h"

extern "C" {

/// The render callback of the chain's first converter: fills the first buffer of `data` from the player that
/// `reference` names, and the rest of it with silence. Always 0. [render]
KX_EXPORT OSStatus MyRenderCallback3(void *reference, AudioUnitRenderActionFlags *flags, const AudioTimeStamp *time,
                                     uint32_t bus, uint32_t frames, AudioBufferList *data) KX_SYMBOL(MyRenderCallback3);

/// Hands the first changed address's selector to the player that `clientData` names; returns 0. Called on the
/// platform's notification thread. [blocks]
KX_EXPORT OSStatus KXAFilePlayerHardwarePropertyListenerProc(AudioObjectID object, uint32_t addressCount,
                                                             const AudioObjectPropertyAddress *addresses,
                                                             void *clientData);

/// Reads `bytes` bytes, in whole frames, of the player's audio data to `destination`; `unused` is ignored. Returns the
/// bytes delivered, an unsigned 32-bit count. [render] [queue: byteOffsetChangeQueue]
KX_EXPORT uint64_t _read(KXAFilePlayer *player, void *destination, void *unused, int64_t bytes) KX_SYMBOL(_read);
}
