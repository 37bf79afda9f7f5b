#include "KXFW/Audio/KXAudioUtil.h"

#include "KXFW/Platform/Foundation/StreamFormat.h"

AudioStreamBasicDescription GetStandardDescription()
{
    return kx::interleaved(44100.0, 2, 16, kAudioFormatFlagIsBigEndian | kAudioFormatFlagIsSignedInteger);
}

void SetStandardDescription(AudioStreamBasicDescription *description)
{
    *description = GetStandardDescription();
}
