#include "KXFW/Audio/KXAudioUtil.h"

#include "KXFW/Platform/Foundation/StreamFormat.h"

namespace
{

/// Linear PCM is what it was, but in native byte order; anything else becomes a format of our own.
AudioStreamBasicDescription linear(const AudioStreamBasicDescription &description)
{
    if (description.mFormatID != kAudioFormatLinearPCM)
        return kx::interleaved(44100.0, 2, 16, kAudioFormatFlagIsSignedInteger);
    AudioStreamBasicDescription result = description;
    result.mFormatFlags &= ~uint32_t{kAudioFormatFlagIsBigEndian};
    return result;
}

void becomeFloat(AudioStreamBasicDescription &description)
{
    description.mFormatFlags &= ~uint32_t{kAudioFormatFlagIsBigEndian | kAudioFormatFlagIsSignedInteger};
    description.mFormatFlags |= kAudioFormatFlagIsFloat;
}

uint32_t internalFlags(uint32_t bits)
{
    if (bits == 16 || bits == 24)
        return kAudioFormatFlagIsSignedInteger;
    return bits == 32 ? uint32_t{kAudioFormatFlagIsFloat} : 0;
}

uint32_t bigEndianFileFlags(uint32_t bits)
{
    const bool isSigned = bits == 8 || bits == 16 || bits == 24 || bits == 32;
    return kAudioFormatFlagIsBigEndian | (isSigned ? uint32_t{kAudioFormatFlagIsSignedInteger} : 0);
}

} // namespace

AudioStreamBasicDescription GetStandardDescription()
{
    return kx::interleaved(44100.0, 2, 16, kAudioFormatFlagIsBigEndian | kAudioFormatFlagIsSignedInteger);
}

void SetStandardDescription(AudioStreamBasicDescription *description)
{
    *description = GetStandardDescription();
}

bool EqualASBDs(AudioStreamBasicDescription a, AudioStreamBasicDescription b)
{
    return a.mSampleRate == b.mSampleRate && a.mFramesPerPacket == b.mFramesPerPacket &&
           a.mBitsPerChannel == b.mBitsPerChannel && a.mChannelsPerFrame == b.mChannelsPerFrame &&
           a.mFormatID == b.mFormatID && a.mFormatFlags == b.mFormatFlags;
}

uint32_t KXAudioUtil::BPFofASBD(const AudioStreamBasicDescription &description)
{
    return kx::isNonInterleaved(description) ? description.mBitsPerChannel * description.mChannelsPerFrame / 8
                                             : description.mBytesPerFrame;
}

AudioStreamBasicDescription KXAudioUtil::AUCanonicalASBDWithSampleRate(double sampleRate, uint32_t channel)
{
    return kx::planarFloat(sampleRate, channel);
}

AudioStreamBasicDescription
KXAudioUtil::internalDescriptionWithDescription(const AudioStreamBasicDescription &description)
{
    AudioStreamBasicDescription result = linear(description);
    switch (result.mBitsPerChannel) {
    case 8:
        result.mFormatFlags &=
            ~uint32_t{kAudioFormatFlagIsFloat | kAudioFormatFlagIsBigEndian | kAudioFormatFlagIsSignedInteger};
        break;
    case 16:
        result.mFormatFlags |= kAudioFormatFlagIsSignedInteger;
        break;
    case 24:
        becomeFloat(result);
        result.mBitsPerChannel = 32;
        result.mBytesPerFrame = result.mBytesPerPacket = 4 * result.mChannelsPerFrame;
        break;
    case 32:
        becomeFloat(result);
        break;
    default:
        break;
    }
    result.mFormatFlags |= kAudioFormatFlagIsPacked;
    return result;
}

AudioStreamBasicDescription KXAudioUtil::internalASBDWithASBD2(const AudioStreamBasicDescription &description)
{
    AudioStreamBasicDescription result = internalDescriptionWithDescription(description);
    result.mBytesPerFrame = result.mBytesPerPacket = result.mBitsPerChannel / 8;
    result.mFormatFlags |= kAudioFormatFlagIsNonInterleaved;
    return result;
}

AudioStreamBasicDescription KXAudioUtil::fileASBDWithInternalASBD2(const AudioStreamBasicDescription &description)
{
    AudioStreamBasicDescription result = description;
    result.mFormatFlags &= ~uint32_t{kAudioFormatFlagIsNonInterleaved};
    result.mBytesPerFrame = result.mBytesPerPacket = result.mBitsPerChannel / 8 * result.mChannelsPerFrame;
    result.mFramesPerPacket = 1;
    return result;
}

AudioStreamBasicDescription KXAudioUtil::internalDescriptionFromSampleRate(double sampleRate, uint32_t numChannels,
                                                                           uint32_t bitRate)
{
    return kx::interleaved(sampleRate, numChannels, bitRate, internalFlags(bitRate));
}

AudioStreamBasicDescription KXAudioUtil::saveDescriptionFromSampleRate(double sampleRate, uint32_t numChannels,
                                                                       uint32_t bitRate, AudioFileTypeID fileType)
{
    return kx::interleaved(sampleRate, numChannels, bitRate,
                           fileType == kAudioFileAIFFType ? bigEndianFileFlags(bitRate) : internalFlags(bitRate));
}
