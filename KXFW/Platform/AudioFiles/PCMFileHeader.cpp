#include "KXFW/Platform/AudioFiles/PCMFileHeader.h"

#include "KXFW/Platform/Conversion/SampleFormat.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <cmath>
#include <cstdint>
#include <string_view>

namespace kx
{

namespace
{

constexpr int64_t kLargestSize = UINT32_MAX;
constexpr int64_t kAIFFOverhead = 4 + (8 + 18) + (8 + 8);     // form type, COMM, SSND
constexpr int64_t kWAVEOverhead = 4 + (8 + 40) + (8 + 4) + 8; // form type, the longest fmt, fact, data

constexpr uint16_t kTagInteger = 1;
constexpr uint16_t kTagFloat = 3;
constexpr uint16_t kTagExtensible = 0xFFFE;

class HeaderBytes
{
public:
    void text(std::string_view characters)
    {
        for (const char c : characters)
            bytes_.push_back(static_cast<std::byte>(c));
    }
    void big(uint64_t value, int count)
    {
        for (int i = count - 1; i >= 0; --i)
            bytes_.push_back(static_cast<std::byte>(value >> (8 * i)));
    }
    void little(uint64_t value, int count)
    {
        for (int i = 0; i < count; ++i)
            bytes_.push_back(static_cast<std::byte>(value >> (8 * i)));
    }
    [[nodiscard]] std::vector<std::byte> take() { return std::move(bytes_); }

private:
    std::vector<std::byte> bytes_;
};

bool isFloat(const AudioStreamBasicDescription &format)
{
    return (format.mFormatFlags & kAudioFormatFlagIsFloat) != 0;
}

uint64_t dataBytes(const AudioStreamBasicDescription &format, int64_t frames)
{
    return static_cast<uint64_t>(frames) * format.mBytesPerFrame;
}

void writeExtended(HeaderBytes &bytes, double rate)
{
    int exponent = 0;
    const double fraction = std::frexp(rate, &exponent); // 0.5 to 1
    bytes.big(static_cast<uint64_t>(exponent) + 16383 - 1, 2);
    bytes.big(static_cast<uint64_t>(std::ldexp(fraction, 64)), 8);
}

std::vector<std::byte> aiffHeader(const AudioStreamBasicDescription &format, int64_t frames)
{
    const uint64_t data = dataBytes(format, frames);
    HeaderBytes bytes;
    bytes.text("FORM");
    bytes.big(kAIFFOverhead + data + data % 2, 4);
    bytes.text("AIFFCOMM");
    bytes.big(18, 4);
    bytes.big(format.mChannelsPerFrame, 2);
    bytes.big(static_cast<uint64_t>(frames), 4);
    bytes.big(format.mBitsPerChannel, 2);
    writeExtended(bytes, format.mSampleRate);
    bytes.text("SSND");
    bytes.big(8 + data, 4);
    bytes.big(0, 8); // no offset, no blocks
    return bytes.take();
}

/// The usual loudspeakers in their order, as far as they go by channel count alone.
uint32_t loudspeakers(uint32_t channels)
{
    constexpr uint32_t masks[] = {0, 0x4, 0x3, 0x7, 0x33, 0x37, 0x3F, 0x13F, 0x63F};
    return channels < std::size(masks) ? masks[channels] : 0;
}

void writeWaveFormat(HeaderBytes &bytes, const AudioStreamBasicDescription &format)
{
    const bool isExtensible = format.mChannelsPerFrame > 2;
    const uint16_t tag = isFloat(format) ? kTagFloat : kTagInteger;
    const auto rate = static_cast<uint64_t>(format.mSampleRate);
    bytes.text("fmt ");
    bytes.little(isExtensible ? 40 : 16, 4);
    bytes.little(isExtensible ? kTagExtensible : tag, 2);
    bytes.little(format.mChannelsPerFrame, 2);
    bytes.little(rate, 4);
    bytes.little(rate * format.mBytesPerFrame, 4);
    bytes.little(format.mBytesPerFrame, 2);
    bytes.little(format.mBitsPerChannel, 2);
    if (!isExtensible)
        return;
    bytes.little(22, 2);
    bytes.little(format.mBitsPerChannel, 2);
    bytes.little(loudspeakers(format.mChannelsPerFrame), 4);
    bytes.little(tag, 2);
    bytes.text({"\x00\x00\x00\x00\x10\x00\x80\x00\x00\xAA\x00\x38\x9B\x71", 14});
}

std::vector<std::byte> waveHeader(const AudioStreamBasicDescription &format, int64_t frames)
{
    const uint64_t data = dataBytes(format, frames);
    const uint64_t fmt = format.mChannelsPerFrame > 2 ? 40 : 16;
    const uint64_t fact = isFloat(format) ? 12 : 0;
    HeaderBytes bytes;
    bytes.text("RIFF");
    bytes.little(4 + 8 + fmt + fact + 8 + data + data % 2, 4);
    bytes.text("WAVE");
    writeWaveFormat(bytes, format);
    if (fact > 0) {
        bytes.text("fact");
        bytes.little(4, 4);
        bytes.little(static_cast<uint64_t>(frames), 4);
    }
    bytes.text("data");
    bytes.little(data, 4);
    return bytes.take();
}

bool isAIFFFormat(const AudioStreamBasicDescription &format)
{
    constexpr uint32_t flags = kAudioFormatFlagIsSignedInteger | kAudioFormatFlagIsBigEndian;
    const uint32_t expected = format.mBitsPerChannel == 8 ? kAudioFormatFlagIsSignedInteger : flags;
    return !isFloat(format) && (format.mFormatFlags & expected) == expected;
}

bool isWAVEFormat(const AudioStreamBasicDescription &format)
{
    const bool isSigned = (format.mFormatFlags & kAudioFormatFlagIsSignedInteger) != 0;
    if (format.mSampleRate != std::floor(format.mSampleRate))
        return false;
    if (format.mBitsPerChannel == 8)
        return !isSigned;
    return (format.mFormatFlags & kAudioFormatFlagIsBigEndian) == 0 && (isSigned || isFloat(format));
}

} // namespace

OSStatus checkFileFormat(AudioFileTypeID type, const AudioStreamBasicDescription &format) noexcept
{
    if (type != kAudioFileAIFFType && type != kAudioFileWAVEType)
        return kAudioFileUnsupportedFileTypeError;
    const bool holds = isConvertible(format) && !isNonInterleaved(format) &&
                       (type == kAudioFileAIFFType ? isAIFFFormat(format) : isWAVEFormat(format));
    return holds ? noErr : kAudioFileUnsupportedDataFormatError;
}

std::vector<std::byte> fileHeader(AudioFileTypeID type, const AudioStreamBasicDescription &format, int64_t frames)
{
    return type == kAudioFileAIFFType ? aiffHeader(format, frames) : waveHeader(format, frames);
}

int64_t maximumDataBytes(AudioFileTypeID type) noexcept
{
    const int64_t overhead = type == kAudioFileAIFFType ? kAIFFOverhead : kWAVEOverhead;
    const bool isKnown = type == kAudioFileAIFFType || type == kAudioFileWAVEType;
    return isKnown ? (kLargestSize - overhead) / 2 * 2 : 0; // even, so that no padding can pass the limit
}

} // namespace kx
