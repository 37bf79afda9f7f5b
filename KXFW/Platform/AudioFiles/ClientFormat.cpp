#include "KXFW/Platform/AudioFiles/ClientFormat.h"

#include "KXFW/Platform/Conversion/SampleFormat.h"
#include "KXFW/Platform/Foundation/Status.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <bit>
#include <cstring>

namespace kx
{

namespace
{

constexpr uint32_t kLayoutHeadBytes = offsetof(AudioChannelLayout, mChannelDescriptions);
constexpr AudioChannelLayoutTag kUseChannelBitmap = 1u << 16;

uint32_t channelsNamed(const AudioChannelLayout &head)
{
    if (head.mChannelLayoutTag == kAudioChannelLayoutTag_UseChannelDescriptions && head.mNumberChannelDescriptions > 0)
        return head.mNumberChannelDescriptions;
    if (head.mChannelLayoutTag == kAudioChannelLayoutTag_UseChannelDescriptions ||
        head.mChannelLayoutTag == kUseChannelBitmap)
        return static_cast<uint32_t>(std::popcount(head.mChannelBitmap));
    return head.mChannelLayoutTag & 0xFFFF; // the other tags carry their channel count
}

} // namespace

OSStatus checkClientFormat(const AudioStreamBasicDescription &format) noexcept
{
    if (format.mFormatID != kAudioFormatLinearPCM)
        return kExtAudioFileError_NonPCMClientFormat;
    return isConvertible(format) ? noErr : kExtAudioFileError_InvalidDataFormat;
}

OSStatus checkClientLayout(const void *data, uint32_t size, uint32_t channels) noexcept
{
    if (!data || size < kLayoutHeadBytes)
        return kExtAudioFileError_InvalidPropertySize;
    AudioChannelLayout head = {};
    std::memcpy(&head, data, kLayoutHeadBytes);
    const uint64_t described = uint64_t{head.mNumberChannelDescriptions} * sizeof(AudioChannelDescription);
    if (size < kLayoutHeadBytes + described)
        return kExtAudioFileError_InvalidPropertySize;
    const bool namesNone = head.mChannelLayoutTag == kAudioChannelLayoutTag_UseChannelDescriptions &&
                           head.mChannelBitmap == 0 && described == 0;
    return namesNone || channelsNamed(head) == channels ? noErr : kExtAudioFileError_InvalidChannelMap;
}

OSStatus checkBuffers(const AudioStreamBasicDescription &format, const AudioBufferList *list, uint32_t frames) noexcept
{
    if (!list || list->mNumberBuffers != bufferCount(format))
        return kExtAudioFileError_InvalidDataFormat;
    for (uint32_t i = 0; i < list->mNumberBuffers; ++i)
        if ((frames > 0 && !list->mBuffers[i].mData) ||
            list->mBuffers[i].mDataByteSize < uint64_t{frames} * format.mBytesPerFrame)
            return kExtAudioFileError_InvalidDataFormat;
    return noErr;
}

bool isInterleaved16(const AudioStreamBasicDescription &format) noexcept
{
    return format.mBitsPerChannel == 16 && (format.mFormatFlags & kAudioFormatFlagIsFloat) == 0 &&
           format.mBytesPerFrame == 2 * format.mChannelsPerFrame;
}

} // namespace kx
