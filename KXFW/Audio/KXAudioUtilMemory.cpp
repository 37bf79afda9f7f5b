#include "KXFW/Audio/KXAudioUtil.h"

#include <array>
#include <cstdlib>
#include <cstring>

namespace
{

constexpr std::array kGrowth{2.0F, 1.5F, 1.3F, 1.2F, 1.1F, 1.0F};

/// No block reaches this size; below it a float fits into 64 bits.
constexpr float kNoBlock = 9223372036854775808.0F;

} // namespace

void invertBits(void *data, int64_t length)
{
    auto *bytes = static_cast<unsigned char *>(data);
    for (int64_t word = 0; word < length / 4; ++word, bytes += 4) { // at any alignment
        uint32_t bits = 0;
        std::memcpy(&bits, bytes, sizeof bits);
        bits = ~bits;
        std::memcpy(bytes, &bits, sizeof bits);
    }
}

void *mul_malloc(uint64_t *size)
{
    const auto asked = static_cast<float>(*size);
    for (const float factor : kGrowth) {
        const float grown = asked * factor;
        if (!(grown < kNoBlock))
            continue;
        const auto bytes = static_cast<uint64_t>(grown);
        if (void *block = std::malloc(bytes)) {
            *size = bytes;
            return block;
        }
    }
    *size = 0;
    return nullptr;
}

AudioTimeStamp KXAudioUtil::zeroTimeStamp()
{
    AudioTimeStamp time{};
    time.mSMPTETime = zeroSMPTETime();
    return time;
}

SMPTETime KXAudioUtil::zeroSMPTETime()
{
    return {};
}

void KXAudioUtil::CopyABL(AudioBufferList *destination, const AudioBufferList *from)
{
    destination->mNumberBuffers = from->mNumberBuffers;
    for (uint32_t i = 0; i < from->mNumberBuffers; ++i) {
        const AudioBuffer &source = from->mBuffers[i];
        AudioBuffer &copy = destination->mBuffers[i];
        copy.mNumberChannels = source.mNumberChannels;
        copy.mData = std::malloc(source.mDataByteSize);
        copy.mDataByteSize = copy.mData ? source.mDataByteSize : 0;
        if (copy.mDataByteSize == 0)
            continue;
        if (source.mData)
            std::memcpy(copy.mData, source.mData, copy.mDataByteSize);
        else
            std::memset(copy.mData, 0, copy.mDataByteSize);
    }
}
