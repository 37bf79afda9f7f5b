/// @file
/// Helpers around stream formats: formats derived from formats, byte counts, levels, description files, an indented
/// log, dumps of records, and a test file.
#pragma once

#include "KXFW/Platform/AudioFiles/AudioFile.h"
#include "KXFW/Platform/AudioFiles/ExtendedAudioFile.h"
#include "KXFW/Platform/Foundation/AudioTypes.h"
#include "KXFW/Platform/Foundation/Export.h"
#include "KXFW/Platform/Foundation/Geometry.h"
#include "KXFW/Platform/Foundation/NSAlert.h"
#include "KXFW/Platform/Foundation/NSColor.h"
#include "KXFW/Platform/Foundation/PropertyList.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

extern "C" {

/// The standard description: the linear format in which files are read, the player's input starts, and exports are
/// written. 44,100 Hz, 16-bit big-endian signed integers, packed, 2 channels, 4 bytes a frame. [any]
KX_EXPORT AudioStreamBasicDescription GetStandardDescription() KX_SYMBOL(GetStandardDescription);

/// Fills `description` (borrowed, not null) with the standard description. [any]
KX_EXPORT void SetStandardDescription(AudioStreamBasicDescription *description) KX_SYMBOL(SetStandardDescription);

/// True where rate, frames per packet, bits, channels, format and flags are equal; byte counts are not compared, and a
/// rate that is not a number equals none. [any]
KX_EXPORT bool EqualASBDs(AudioStreamBasicDescription a, AudioStreamBasicDescription b) KX_SYMBOL(EqualASBDs);

/// Inverts every bit of the whole 32-bit words in `length` bytes; the last 1 to 3 bytes beside them stay. [any]
KX_EXPORT void invertBits(void *data, int64_t length) KX_SYMBOL(invertBits);

/// A new block larger than `*size` bytes: twice as large, or 1.5, 1.3, 1.2, 1.1 or 1 times, whichever is the first to
/// be had. `*size` comes back as the bytes that the block has; the caller frees it with std::free. Null and 0 when
/// there is none.
/// The sizes are computed with 24 significant bits. Above 16,777,216 bytes a block of 1 times the size can have fewer
/// bytes than were asked for: go by the `*size` that comes back, never by the one that went in. [any]
KX_EXPORT void *mul_malloc(uint64_t *size) KX_SYMBOL(mul_malloc);

/// Logs the innermost `depth` calls of this thread, "symbols:" and the list. [any]
KX_EXPORT void call_stack(uint64_t depth) KX_SYMBOL(call_stack);
}

/// Class operations only.
class KX_EXPORT KXAudioUtil
{
public:
    KXAudioUtil() = delete;

    // Formats from formats. All [any].

    /// Bytes of one frame across all channels.
    static uint32_t BPFofASBD(const AudioStreamBasicDescription &description);
    /// 32-bit native floats, one buffer a channel.
    static AudioStreamBasicDescription AUCanonicalASBDWithSampleRate(double sampleRate, uint32_t channel);
    /// The linear format for work on data in `description`: native byte order, 8-bit samples unsigned, 24-bit and
    /// 32-bit ones as floats. 44,100 Hz, 16 bits and 2 channels for anything but linear PCM.
    static AudioStreamBasicDescription
    internalDescriptionWithDescription(const AudioStreamBasicDescription &description);
    /// The same with one buffer a channel.
    static AudioStreamBasicDescription internalASBDWithASBD2(const AudioStreamBasicDescription &description);
    /// `description` with its channels interleaved.
    static AudioStreamBasicDescription fileASBDWithInternalASBD2(const AudioStreamBasicDescription &description);
    /// Packed and interleaved: signed integers of 16 or 24 bits, floats of 32, unsigned integers of others.
    static AudioStreamBasicDescription internalDescriptionFromSampleRate(double sampleRate, uint32_t numChannels,
                                                                         uint32_t bitRate);
    /// What a file of that type stores: big-endian for AIFF, little-endian with unsigned 8-bit samples and 32-bit
    /// floats for every other. `bitRate` is bits a sample.
    static AudioStreamBasicDescription saveDescriptionFromSampleRate(double sampleRate, uint32_t numChannels,
                                                                     uint32_t bitRate, AudioFileTypeID fileType);

    // Byte counts on both sides of a conversion, whole frames only, in unsigned 32-bit arithmetic. 0 where a rate is
    // not a number above 0 or the side that is given has no bytes in a frame; 2^32 - 1 for more than that. All [any].

    static uint32_t bytesAfterConversion(uint32_t bytes, const AudioStreamBasicDescription &inDesc,
                                         const AudioStreamBasicDescription &outDesc);
    static uint32_t bytesBeforeConversion(uint32_t bytes, const AudioStreamBasicDescription &inDesc,
                                          const AudioStreamBasicDescription &outDesc);
    static uint32_t bytesAfterConversionForPackets(uint32_t packets, const AudioStreamBasicDescription &inDesc,
                                                   const AudioStreamBasicDescription &outDesc);

    // Levels, and records of zeros. All [any].

    /// Yes marks a format that is accepted: a usual rate from 8,000 to 96,000 Hz, give or take 1; 1 or 2 channels; 8,
    /// 16, 24 or 32 bits.
    static bool isInvalidFormat(const AudioStreamBasicDescription &description);
    static double dBFromLevel(double level); ///< Minus infinity for 0.
    static double levelFromDB(double dB);
    static AudioTimeStamp zeroTimeStamp();
    static SMPTETime zeroSMPTETime();

    /// Makes `destination`, which has room for as many buffers, a copy of `from` with memory of its own, which the
    /// caller frees with std::free. A block that cannot be had leaves a null pointer and a size of 0. [any]
    static void CopyABL(AudioBufferList *destination, const AudioBufferList *from);

    // Description files: property lists of the nine fields, under their names. Nothing reports a failure.

    static std::shared_ptr<const kx::Dictionary>
    dictionaryFromASBD(const AudioStreamBasicDescription &description); ///< [any]
    /// Written in place; what the file held before is gone. [any] [blocks]
    static void saveDescription(const AudioStreamBasicDescription &description, const std::filesystem::path &toFile);
    /// A field that the file does not have, or not as a number that fits, is 0. [any] [blocks]
    static AudioStreamBasicDescription loadDescription(const std::filesystem::path &file);

    // The indented log, with two tabs for each level that is open in the process: one thread at a time.

    /// Writes a line: with an object (a pointer to anything that has a description()) its description, "; " and
    /// `string` to the log; with null `string` alone to the standard output. Level +1 opens a level after the line, -1
    /// closes one before it. [any]
    template <class Object> static void log(const Object &object, const std::string &string, int8_t level = 0)
    {
        if (object)
            prv_logWithDescription(object->description(), string, level);
        else
            log(nullptr, string, level);
    }
    static void log(std::nullptr_t, const std::string &string, int8_t level = 0); ///< [any]
    static void prv_logWithDescription(const std::string &description, const std::string &string,
                                       int8_t level); ///< [any]

    /// A new alert, not shown, with both texts looked up in the application's string table. [main]
    static std::shared_ptr<NSAlert> alertWithMessage(const std::string &message, const std::string &informative);

    // Dumps to the log, a line for each field. All [any].

    static void DumpDescription(const AudioStreamBasicDescription &description);
    static void DumpASBD(const AudioStreamBasicDescription &description);
    static void DumpFormatFlags(uint32_t flags);
    static void DumpFourCharCode(uint32_t code); ///< "err:" and the four bytes, the lowest first.

    // Dumps to the indented log: one thread at a time. All [any].

    static void DumpAudioTimeStamp(const AudioTimeStamp &timeStamp);
    static void DumpSMPTETime(const SMPTETime &time);
    static void DumpNSRect(const NSRect &rect);

    // These have nothing to show. All [any].

    static void DumpAudioFileID(AudioFileID file); ///< Asks for the bytes and packets of the data. [blocks]
    static void DumpASRD(const AudioStreamRangedDescription &description);
    static void DumpNSColor(const NSColor &color);
    static void DumpPacketDescription(const AudioStreamPacketDescription &description);

    /// Writes "linear_dont_play.wav" into the home directory: 65,536 frames, 16 bits, 2 equal channels, one ramp
    /// through every sample value. It is loud. Throws an NSException when the file service fails. [any] [blocks]
    static void makeTestFile();
    /// The same in another directory; gives the file's path. [any] [blocks]
    static std::filesystem::path makeTestFile(const std::filesystem::path &directory);
};
