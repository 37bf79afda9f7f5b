#include "KXFW/Audio/DescriptionLines.h"
#include "KXFW/Audio/KXAudioUtil.h"
#include "KXFW/Platform/Foundation/NSLog.h"

#include <array>
#include <iterator>

namespace
{

template <class... Arguments> std::string line(kx::LogFormat format, const Arguments &...arguments)
{
    const std::array<kx::LogArgument, sizeof...(Arguments)> values{kx::logArgument(arguments)...};
    return kx::formatted(format.text, values);
}

/// Fields are shown as signed numbers: from 2^31 on they are negative.
int32_t asSigned(uint32_t field)
{
    return static_cast<int32_t>(field);
}

struct FlagTexts {
    uint32_t flag;
    const char *set;
    const char *clear;
};

constexpr std::array kFlagTexts{
    FlagTexts{kAudioFormatFlagIsFloat, "is float", "is not float"},
    FlagTexts{kAudioFormatFlagIsBigEndian, "is big endian", "is not big endian"},
    FlagTexts{kAudioFormatFlagIsSignedInteger, "is signed integer", "is not signed integer"},
    FlagTexts{kAudioFormatFlagIsPacked, "is packed", "is not packed"},
    FlagTexts{kAudioFormatFlagIsAlignedHigh, "is aligned high", "is not aligned high"},
    FlagTexts{kAudioFormatFlagIsNonInterleaved, "is noninterleaved", "is interleaved"},
};

std::vector<std::string> flagLines(uint32_t flags)
{
    std::vector<std::string> lines;
    lines.reserve(kFlagTexts.size());
    for (const FlagTexts &texts : kFlagTexts)
        lines.emplace_back(flags & texts.flag ? texts.set : texts.clear);
    return lines;
}

void logEach(const std::vector<std::string> &lines)
{
    for (const std::string &text : lines)
        NSLog("%@", text);
}

} // namespace

std::vector<std::string> kx::descriptionLines(const AudioStreamBasicDescription &description)
{
    std::vector<std::string> lines{
        line("sampleRate:%lf", description.mSampleRate),
        line("formatID:%x", description.mFormatID),
        line("formatFlag:%d", asSigned(description.mFormatFlags)),
        line("bytesPerPacket:%d", asSigned(description.mBytesPerPacket)),
        line("framesPerPacket:%d", asSigned(description.mFramesPerPacket)),
        line("bytesPerFrame:%d", asSigned(description.mBytesPerFrame)),
        line("channelsPerFrame:%d", asSigned(description.mChannelsPerFrame)),
        line("bitsPerChannel:%d", asSigned(description.mBitsPerChannel)),
        line("reserved:%d", asSigned(description.mReserved)),
    };
    std::ranges::move(flagLines(description.mFormatFlags), std::back_inserter(lines));
    return lines;
}

void KXAudioUtil::DumpDescription(const AudioStreamBasicDescription &description)
{
    logEach(kx::descriptionLines(description));
}

void KXAudioUtil::DumpASBD(const AudioStreamBasicDescription &description)
{
    DumpDescription(description);
}

void KXAudioUtil::DumpFormatFlags(uint32_t flags)
{
    logEach(flagLines(flags));
}

void KXAudioUtil::DumpFourCharCode(uint32_t code)
{
    const auto byte = [code](int shift) { return static_cast<unsigned char>(code >> shift); };
    NSLog("err:%c%c%c%c", byte(0), byte(8), byte(16), byte(24));
}

void KXAudioUtil::DumpAudioTimeStamp(const AudioTimeStamp &timeStamp)
{
    log(nullptr, "Dumping AudioTimeStamp...", +1);
    log(nullptr, line("mSampleTime:%lf", timeStamp.mSampleTime));
    log(nullptr, line("mHostTime:%llu", timeStamp.mHostTime));
    log(nullptr, line("mRateScalar:%lf", timeStamp.mRateScalar));
    log(nullptr, line("mWordClockTime:%llu", timeStamp.mWordClockTime));
    DumpSMPTETime(timeStamp.mSMPTETime);
    log(nullptr, "...Dumping done.", -1);
}

void KXAudioUtil::DumpSMPTETime(const SMPTETime &time)
{
    log(nullptr, "Dumping SMPTETime...", +1);
    log(nullptr, line("mCounter:%u", time.mCounter));
    log(nullptr, line("mType:%u", time.mType));
    log(nullptr, line("mFlags:%u", time.mFlags));
    log(nullptr, line("mHours:%d", time.mHours));
    log(nullptr, line("mMinutes:%d", time.mMinutes));
    log(nullptr, line("mSeconds:%d", time.mSeconds));
    log(nullptr, line("mFrames:%d", time.mFrames));
    log(nullptr, "....Dumping done", -1);
}

void KXAudioUtil::DumpNSRect(const NSRect &rect)
{
    const std::string text = line("origin.x:%f,origin.y:%f,size.w:%f,size.h:%f", rect.origin.x, rect.origin.y,
                                  rect.size.width, rect.size.height);
    log(nullptr, "Dumping NSRect...", +1);
    log(nullptr, text);
    log(nullptr, "...done.", -1);
}

void KXAudioUtil::DumpAudioFileID(AudioFileID file)
{
    for (const AudioFilePropertyID property :
         {kAudioFilePropertyAudioDataByteCount, kAudioFilePropertyAudioDataPacketCount}) {
        uint64_t value = 0;
        uint32_t size = sizeof value;
        AudioFileGetProperty(file, property, &size, &value);
    }
}

void KXAudioUtil::DumpASRD(const AudioStreamRangedDescription &) {}

void KXAudioUtil::DumpNSColor(const NSColor &) {}

void KXAudioUtil::DumpPacketDescription(const AudioStreamPacketDescription &) {}
