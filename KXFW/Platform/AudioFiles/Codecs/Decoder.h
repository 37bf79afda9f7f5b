/// @file
/// What a codec is to the file service: it recognises a file by its content and decodes its frames, with exact length
/// and exact seek. A new codec is a file here and a row in CodecTable.cpp.
///
/// Only pure interfaces and plain data, so that a codec can live in a module loaded at run time.
#pragma once

#include "KXFW/Platform/AudioFiles/FileFormats.h"
#include "KXFW/Platform/Foundation/AudioTypes.h"
#include "KXFW/Platform/Foundation/Status.h"
#include "KXFW/Platform/Foundation/StatusOr.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace kx
{

/// The bytes of an open file. Lives at least as long as the decoder made from it.
class ByteSource
{
public:
    virtual ~ByteSource() = default;
    [[nodiscard]] virtual int64_t size() const noexcept = 0;
    /// Up to `count` bytes from `offset` on: the number read (fewer at the end, 0 past it), or -1 after an I/O error,
    /// which `error` then names. [blocks]
    virtual int64_t readAt(int64_t offset, void *bytes, int64_t count) noexcept = 0;
    /// The first I/O error that a read met, else noErr. Codecs give this status rather than a library's own.
    [[nodiscard]] virtual OSStatus error() const noexcept = 0;
};

/// Part of a file.
struct ByteRange {
    int64_t begin;
    int64_t end; ///< exclusive
};

enum class SampleKind { Int16, Float32 };

[[nodiscard]] constexpr uint32_t sampleBytes(SampleKind kind) noexcept
{
    return kind == SampleKind::Int16 ? sizeof(int16_t) : sizeof(float);
}

/// What a decoder delivers: interleaved native samples at the file's own rate and channel count.
struct DecodedFormat {
    AudioStreamBasicDescription file; ///< the file's own data format, as shown to the application
    SampleKind kind;                  ///< Int16 where that is lossless (16-bit or 8-bit sources), else Float32
    uint32_t channels;                ///< 1 to kMaximumChannels
    double rate;                      ///< whole frames per second
    int64_t frames;                   ///< the exact length; so many frames can be read

    [[nodiscard]] uint32_t frameBytes() const noexcept { return channels * sampleBytes(kind); } ///< as delivered
};

/// One file being decoded. One thread at a time.
class Decoder
{
public:
    virtual ~Decoder() = default;
    [[nodiscard]] virtual const DecodedFormat &format() const noexcept = 0;
    /// The next `frames` frames, interleaved; fewer only at the end (a file cut short ends early, without an error).
    /// Fails only when the bytes cannot be read. [blocks]
    virtual StatusOr<uint32_t> read(void *interleaved, uint32_t frames) = 0;
    /// The next frame read is number `frame` of the straight decode, sample for sample. 0 to format().frames. [blocks]
    virtual OSStatus seek(int64_t frame) = 0;
    /// Asks for big-endian or native Int16 samples from now on. False where only native ones are given. [any]
    virtual bool setBigEndian(bool) noexcept { return false; }
};

using DecoderResult = StatusOr<std::unique_ptr<Decoder>>;

/// A codec and all that is said of it elsewhere: a new one is a row and nothing more.
struct CodecEntry {
    bool (*recognises)(ByteSource &source); ///< by the first few KiB, cheap, never throws
    DecoderResult (*open)(std::shared_ptr<ByteSource> source);
    bool (*isInstalled)();           ///< [blocks]
    std::vector<FileFormat> formats; ///< that it opens
};

// The codecs, one file each.
bool recognisesPCMContainer(ByteSource &source); ///< WAVE, RF64, AIFF, AIFC and what else libsndfile reads
DecoderResult openPCMContainer(std::shared_ptr<ByteSource> source);
bool recognisesFLAC(ByteSource &source);
DecoderResult openFLAC(std::shared_ptr<ByteSource> source);
bool recognisesOgg(ByteSource &source); ///< Vorbis, Opus and FLAC in Ogg, chained too
DecoderResult openOgg(std::shared_ptr<ByteSource> source);
bool recognisesMPEGAudio(ByteSource &source); ///< MP3, with or without tags
DecoderResult openMPEGAudio(std::shared_ptr<ByteSource> source);
bool recognisesMPEG4(ByteSource &source);                    ///< m4a and its kin: AAC, ALAC
DecoderResult openMPEG4(std::shared_ptr<ByteSource> source); ///< through the module, loaded on first use
bool isMPEG4Installed();                                     ///< Whether the module is there. [any] [blocks]

/// All codecs. [any]
[[nodiscard]] const std::vector<CodecEntry> &codecTable();

/// Opens with the first row of the table that recognises the content; kAudioFileUnsupportedFileTypeError if none does.
DecoderResult openDecoder(std::shared_ptr<ByteSource> source);

} // namespace kx
