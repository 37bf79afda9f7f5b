/// @file
/// What the tests of the file service share: handles that close themselves, whole files read, bytes put together.
#pragma once

#include "KXFW/Platform/AudioFiles/ExtendedAudioFile.h"
#include "KXFW/Platform/Foundation/BufferList.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"
#include "Tests/Support/HostileBytes.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <functional>
#include <string_view>
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

/// What a file being read and one being written have in common.
class FileHandle
{
public:
    FileHandle() = default;
    FileHandle(const FileHandle &) = delete;
    FileHandle &operator=(const FileHandle &) = delete;

    [[nodiscard]] ExtAudioFileRef get() const { return file_; }
    [[nodiscard]] OSStatus status() const { return status_; } ///< of opening or creating it
    OSStatus setClient(const AudioStreamBasicDescription &client)
    {
        return ExtAudioFileSetProperty(file_, kExtAudioFileProperty_ClientDataFormat, sizeof client, &client);
    }

protected:
    ExtAudioFileRef file_ = nullptr;
    OSStatus status_ = noErr;
};

class OpenFile : public FileHandle
{
public:
    explicit OpenFile(const std::filesystem::path &path) { status_ = ExtAudioFileOpenURL(path, &file_); }
    OpenFile(const std::filesystem::path &path, const AudioStreamBasicDescription &client) : OpenFile(path)
    {
        if (status_ == noErr)
            status_ = setClient(client);
    }
    ~OpenFile()
    {
        if (file_)
            ExtAudioFileDispose(file_);
    }

    [[nodiscard]] AudioStreamBasicDescription format(ExtAudioFilePropertyID property) const
    {
        return value<AudioStreamBasicDescription>(property);
    }
    [[nodiscard]] int64_t length() const { return value<int64_t>(kExtAudioFileProperty_FileLengthFrames); }
    [[nodiscard]] int64_t tell() const
    {
        int64_t frame = -1;
        ExtAudioFileTell(file_, &frame);
        return frame;
    }
    /// Up to `frames` interleaved frames, `frameBytes` bytes each.
    Bytes read(uint32_t frames, uint32_t frameBytes);

    OSStatus readStatus = noErr;

private:
    template <class Value> [[nodiscard]] Value value(ExtAudioFilePropertyID property) const
    {
        Value value = {};
        uint32_t size = sizeof value;
        EXPECT_EQ(ExtAudioFileGetProperty(file_, property, &size, &value), noErr);
        return value;
    }
};

/// A file being written; left to itself it is abandoned.
class NewFile : public FileHandle
{
public:
    explicit NewFile(const std::filesystem::path &path, AudioFileTypeID type = kAudioFileAIFFType,
                     const AudioStreamBasicDescription &format = standardFormat(),
                     uint32_t flags = kAudioFileFlags_EraseFile)
    {
        status_ = ExtAudioFileCreateWithURL(path, type, &format, nullptr, flags, &file_);
    }
    ~NewFile()
    {
        if (file_)
            ExtAudioFileAbandon(file_);
    }

    template <class Sample> OSStatus write(std::vector<Sample> samples, uint32_t channels = 2)
    {
        AudioBufferList list{1, {{channels, static_cast<uint32_t>(samples.size() * sizeof(Sample)), samples.data()}}};
        return ExtAudioFileWrite(file_, static_cast<uint32_t>(samples.size() / channels), &list);
    }
    OSStatus close() { return ExtAudioFileDispose(std::exchange(file_, nullptr)); }
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
    const uint32_t frameBytes = file.format(kExtAudioFileProperty_ClientDataFormat).mBytesPerFrame;
    Bytes all;
    for (auto bytes = file.read(block, frameBytes); !bytes.empty(); bytes = file.read(block, frameBytes))
        all.insert(all.end(), bytes.begin(), bytes.end());
    return samplesOf<Sample>(all);
}

std::vector<int16_t> bigEndian(std::vector<int16_t> samples);

Bytes bytesOf(std::string_view text);
Bytes operator+(Bytes a, const Bytes &b);
void putBig(Bytes &bytes, std::size_t at, uint64_t value, std::size_t count);
void putLittle(Bytes &bytes, std::size_t at, uint64_t value, std::size_t count);

/// A box of an MPEG-4 file.
Bytes box(std::string_view type, const Bytes &contents = {});
/// So many copies one behind the other.
Bytes repeated(const Bytes &bytes, std::size_t copies);
/// A file of a kind that the media maker lacks, written by the container library itself.
std::filesystem::path sndfileOf(int format, int rate, const std::vector<int32_t> &stereo);

/// The bytes with the checksums of Ogg pages put right, so that damage gets to the codecs.
Bytes resealed(Bytes bytes);

/// Runs `body` in a child process: what it returns, or 128 + the signal that ended it.
int inChild(const std::function<int()> &body);

} // namespace kx::test
