/// @file
/// The records and constants that the audio services share: statuses, four-character codes, stream formats, buffer
/// lists and time stamps. Plain data, laid out as written here.
#pragma once

#include <cstdint>

using OSStatus = int32_t;      ///< 0 is success; any other value is a failure with a name (see kx::statusName).
using FourCharCode = uint32_t; ///< four characters, the first in the highest byte: 'lpcm' is 0x6C70636D

inline constexpr OSStatus noErr = 0;

namespace kx
{

/// The code whose big-endian reading is the four characters of `text`.
consteval FourCharCode fourCharCode(const char (&text)[5])
{
    FourCharCode code = 0;
    for (int i = 0; i < 4; ++i)
        code = code << 8 | static_cast<unsigned char>(text[i]);
    return code;
}

} // namespace kx

/// A stream format. A frame holds one sample of each channel; a packet is what an encoding cannot divide: of linear PCM
/// one frame, of MP3 1152. Non-interleaved formats have one buffer a channel, and their byte counts are those of one
/// channel. A field that says nothing about an encoding, such as the bits of a sample of AAC, is 0.
///
///     const AudioStreamBasicDescription floats{44100, kAudioFormatLinearPCM,
///                                              kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked, 8, 1, 8, 2, 32, 0};
struct AudioStreamBasicDescription {
    double mSampleRate;        ///< frames per second
    FourCharCode mFormatID;    ///< kAudioFormat..., the encoding
    uint32_t mFormatFlags;     ///< kAudioFormatFlag... of linear PCM
    uint32_t mBytesPerPacket;  ///< 0 where packets differ
    uint32_t mFramesPerPacket; ///< 0 where packets differ
    uint32_t mBytesPerFrame;   ///< 0 for compressed sound
    uint32_t mChannelsPerFrame;
    uint32_t mBitsPerChannel; ///< of a sample
    uint32_t mReserved;       ///< 0
};
static_assert(sizeof(AudioStreamBasicDescription) == 40);

/// From the least value to the greatest, both included.
struct AudioValueRange {
    double mMinimum;
    double mMaximum;
};

/// A stream format, and the sample rates it can have.
struct AudioStreamRangedDescription {
    AudioStreamBasicDescription mFormat;
    AudioValueRange mSampleRateRange;
};

/// Where a packet lies whose size varies.
struct AudioStreamPacketDescription {
    int64_t mStartOffset; ///< bytes
    uint32_t mVariableFramesInPacket;
    uint32_t mDataByteSize;
};

// What sound can be encoded in; kx::encodingName gives the name for people.
inline constexpr FourCharCode kAudioFormatLinearPCM = kx::fourCharCode("lpcm");
inline constexpr FourCharCode kAudioFormatMPEGLayer1 = kx::fourCharCode(".mp1");
inline constexpr FourCharCode kAudioFormatMPEGLayer2 = kx::fourCharCode(".mp2");
inline constexpr FourCharCode kAudioFormatMPEGLayer3 = kx::fourCharCode(".mp3");
inline constexpr FourCharCode kAudioFormatMPEG4AAC = kx::fourCharCode("aac ");
inline constexpr FourCharCode kAudioFormatALAC = kx::fourCharCode("alac");
inline constexpr FourCharCode kAudioFormatFLAC = kx::fourCharCode("flac");
inline constexpr FourCharCode kAudioFormatVorbis = kx::fourCharCode("vorb");
inline constexpr FourCharCode kAudioFormatOpus = kx::fourCharCode("opus");
inline constexpr FourCharCode kAudioFormatULaw = kx::fourCharCode("ulaw");
inline constexpr FourCharCode kAudioFormatALaw = kx::fourCharCode("alaw");
inline constexpr FourCharCode kAudioFormatIMA4 = kx::fourCharCode("ima4");
inline constexpr FourCharCode kAudioFormatMSADPCM = 0x6D730002; ///< "ms" and the number 2

/// The flags of linear PCM. A sample that is neither a float nor a signed integer is unsigned, as in 8-bit WAVE files.
enum : uint32_t {
    kAudioFormatFlagIsFloat = 1,           ///< from -1 to 1
    kAudioFormatFlagIsBigEndian = 2,       ///< the highest byte first
    kAudioFormatFlagIsSignedInteger = 4,   ///< two's complement
    kAudioFormatFlagIsPacked = 8,          ///< the bits of a sample fill its bytes
    kAudioFormatFlagIsAlignedHigh = 16,    ///< where they do not, they are the high ones
    kAudioFormatFlagIsNonInterleaved = 32, ///< one buffer a channel
};

/// One block of samples. `mData` borrows: whoever made the list owns the memory.
struct AudioBuffer {
    uint32_t mNumberChannels; ///< channels interleaved in this buffer
    uint32_t mDataByteSize;   ///< in: room; out: bytes filled
    void *mData;
};

/// A list of `mNumberBuffers` buffers; the array runs on past its declared length (see kx::BufferList).
struct AudioBufferList {
    uint32_t mNumberBuffers;
    AudioBuffer mBuffers[1];
};

/// A time code. It is carried along, and shown in dumps.
struct SMPTETime {
    int16_t mSubframes;
    int16_t mSubframeDivisor;
    uint32_t mCounter;
    uint32_t mType;
    uint32_t mFlags;
    int16_t mHours;
    int16_t mMinutes;
    int16_t mSeconds;
    int16_t mFrames;
};

/// Which fields of an AudioTimeStamp hold a value.
enum : uint32_t {
    kAudioTimeStampSampleTimeValid = 1,
    kAudioTimeStampHostTimeValid = 2,
};

/// When a slice of sound is heard, or which one it is. Only fields that `mFlags` names say something.
struct AudioTimeStamp {
    double mSampleTime; ///< frames since the stream began
    uint64_t mHostTime; ///< CLOCK_MONOTONIC, nanoseconds
    double mRateScalar;
    uint64_t mWordClockTime;
    SMPTETime mSMPTETime;
    uint32_t mFlags; ///< kAudioTimeStamp...Valid
    uint32_t mReserved;
};

using AudioChannelLayoutTag = uint32_t;
inline constexpr AudioChannelLayoutTag kAudioChannelLayoutTag_UseChannelDescriptions = 0; ///< neither tag nor bitmap
/// Loudspeakers, as bits of a layout's bitmap.
enum : uint32_t {
    kAudioChannelBit_Left = 1,
    kAudioChannelBit_Right = 2,
};

/// The loudspeaker of one channel.
struct AudioChannelDescription {
    uint32_t mChannelLabel;
    uint32_t mChannelFlags;
    float mCoordinates[3];
};

/// Which loudspeaker each channel belongs to: by tag, or by bitmap, or by descriptions (none, one, or more of them).
struct AudioChannelLayout {
    AudioChannelLayoutTag mChannelLayoutTag;
    uint32_t mChannelBitmap;
    uint32_t mNumberChannelDescriptions;
    AudioChannelDescription mChannelDescriptions[1];
};
static_assert(sizeof(AudioChannelLayout) == 32);
