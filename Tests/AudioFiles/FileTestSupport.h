/// @file
/// What the tests of the file service share: handles that close themselves, whole files read.
#pragma once

#include "KXFW/Platform/AudioFiles/ExtendedAudioFile.h"
#include "KXFW/Platform/AudioFiles/FileReader.h"
#include "KXFW/Platform/Foundation/BufferList.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"
#include "Tests/Support/HostileBytes.h"
#include "Tests/Support/Media.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <functional>
#include <utility>
#include <vector>

namespace kx::test
{

/// Signed 16-bit big-endian interleaved: what the framework reads files as.
inline AudioStreamBasicDescription standardFormat(double rate = 44100, uint32_t channels = 2)
{
    return interleaved(rate, channels, 16, kAudioFormatFlagIsSignedInteger | kAudioFormatFlagIsBigEndian);
}

/// The same in native byte order.
inline AudioStreamBasicDescription native16(double rate = 44100, uint32_t channels = 2)
{
    return interleaved(rate, channels, 16, kAudioFormatFlagIsSignedInteger);
}

inline AudioStreamBasicDescription floats(double rate = 44100, uint32_t channels = 2)
{
    return interleaved(rate, channels, 32, kAudioFormatFlagIsFloat);
}

/// What a file being read and one being written, which is abandoned at its end, have in common.
struct FileHandle {
    FileHandle() = default;
    FileHandle(const FileHandle &) = delete;
    FileHandle &operator=(const FileHandle &) = delete;
    ~FileHandle() { ExtAudioFileAbandon(file); }

    OSStatus setClient(const AudioStreamBasicDescription &client)
    {
        return ExtAudioFileSetProperty(file, kExtAudioFileProperty_ClientDataFormat, sizeof client, &client);
    }

    ExtAudioFileRef file = nullptr;
    OSStatus status = noErr; ///< of what was done last
};

struct OpenFile : FileHandle {
    explicit OpenFile(const std::filesystem::path &path) { status = ExtAudioFileOpenURL(path, &file); }
    OpenFile(const std::filesystem::path &path, const AudioStreamBasicDescription &client) : OpenFile(path)
    {
        if (status == noErr)
            status = setClient(client);
    }

    template <class Value> [[nodiscard]] Value value(ExtAudioFilePropertyID property) const
    {
        Value value = {};
        uint32_t size = sizeof value;
        EXPECT_EQ(ExtAudioFileGetProperty(file, property, &size, &value), noErr);
        return value;
    }
    [[nodiscard]] int64_t length() const { return value<int64_t>(kExtAudioFileProperty_FileLengthFrames); }
    [[nodiscard]] int64_t tell() const
    {
        int64_t frame = -1;
        ExtAudioFileTell(file, &frame);
        return frame;
    }
    /// Up to `frames` interleaved frames.
    Bytes read(uint32_t frames);
};

struct NewFile : FileHandle {
    explicit NewFile(const std::filesystem::path &path, AudioFileTypeID type = kAudioFileAIFFType,
                     const AudioStreamBasicDescription &format = standardFormat(),
                     uint32_t flags = kAudioFileFlags_EraseFile)
    {
        status = ExtAudioFileCreateWithURL(path, type, &format, nullptr, flags, &file);
    }

    template <class Sample> OSStatus write(std::vector<Sample> samples, uint32_t channels = 2)
    {
        AudioBufferList list{1, {{channels, static_cast<uint32_t>(samples.size() * sizeof(Sample)), samples.data()}}};
        return ExtAudioFileWrite(file, static_cast<uint32_t>(samples.size() / channels), &list);
    }
    OSStatus close() { return ExtAudioFileDispose(std::exchange(file, nullptr)); }
};

template <class Sample> std::vector<Sample> samplesOf(const Bytes &bytes)
{
    std::vector<Sample> samples(bytes.size() / sizeof(Sample));
    if (!samples.empty())
        std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(Sample));
    return samples;
}

/// All that `file` still gives in its interleaved client format, read `block` frames at a time.
template <class Sample> std::vector<Sample> readAll(OpenFile &file, uint32_t block = 4096)
{
    Bytes all;
    for (auto bytes = file.read(block); !bytes.empty(); bytes = file.read(block))
        all.insert(all.end(), bytes.begin(), bytes.end());
    return samplesOf<Sample>(all);
}

/// Up to `most` frames more of a reader whose client is of floats, interleaved, `block` at a time; the status is that
/// of the last read.
std::vector<float> readOn(FileReader &reader, int64_t most = INT64_MAX, uint32_t block = 1000,
                          OSStatus *status = nullptr);

/// A file of a kind that the media maker lacks, written by the container library itself.
std::filesystem::path sndfileOf(int format, int rate, const std::vector<int32_t> &stereo);

/// A box of an MPEG-4 file.
Bytes box(std::string_view type, const Bytes &contents = {});
/// The MPEG-4 file, whose 'moov' box comes last, with more in it.
Bytes inMovie(const Bytes &file, const Bytes &more);

/// The bytes with the checksums of Ogg pages put right, so that damage gets to the codecs.
Bytes resealed(Bytes bytes);

/// What a child process needs for its work.
struct Cost {
    int status;     ///< what it returns, or 128 + the signal that ended it
    int64_t bytes;  ///< at the peak, of memory
    double seconds; ///< of the processor
};

Cost inChild(const std::function<int()> &work);

/// What an application gets of the bytes: frames announced for a client of 44,100 Hz and those that come, and what
/// comes from the middle on.
struct Outcome {
    OSStatus status = noErr; ///< of opening, or of what was read
    int64_t announced = 0;
    std::vector<float> sound;
    std::vector<float> rest;

    [[nodiscard]] int64_t delivered() const { return static_cast<int64_t>(sound.size() / 2); }
    bool operator==(const Outcome &) const = default;
};

Outcome outcomeOf(const Bytes &bytes, int64_t most = 1'000'000);
/// Whatever is cut off the file or changed in it: nothing is printed, and what opens keeps its word.
void expectToSurvive(OpenDecoder open, const Bytes &bytes);
/// So many damaged copies sound alike whatever the memory holds that they are decoded in.
void expectSoundOfTheBytesAlone(const Bytes &bytes, int copies);

} // namespace kx::test
