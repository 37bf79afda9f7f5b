/// @file
/// What the tests of the file service share: handles that close themselves, whole files read.
#pragma once

#include "KXFW/Platform/AudioFiles/ExtendedAudioFile.h"
#include "KXFW/Platform/Foundation/BufferList.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <bit>
#include <cstring>
#include <filesystem>
#include <memory>
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

class OpenFile
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
    OpenFile(const OpenFile &) = delete;
    OpenFile &operator=(const OpenFile &) = delete;

    [[nodiscard]] OSStatus status() const { return status_; }
    [[nodiscard]] ExtAudioFileRef get() const { return file_; }

    OSStatus setClient(const AudioStreamBasicDescription &client)
    {
        return ExtAudioFileSetProperty(file_, kExtAudioFileProperty_ClientDataFormat, sizeof client, &client);
    }
    [[nodiscard]] AudioStreamBasicDescription format(ExtAudioFilePropertyID property) const
    {
        AudioStreamBasicDescription format = {};
        uint32_t size = sizeof format;
        ExtAudioFileGetProperty(file_, property, &size, &format);
        return format;
    }
    [[nodiscard]] int64_t length() const
    {
        int64_t frames = -1;
        uint32_t size = sizeof frames;
        ExtAudioFileGetProperty(file_, kExtAudioFileProperty_FileLengthFrames, &size, &frames);
        return frames;
    }
    [[nodiscard]] int64_t tell() const
    {
        int64_t frame = -1;
        ExtAudioFileTell(file_, &frame);
        return frame;
    }

    /// Up to `frames` interleaved frames, `frameBytes` bytes each.
    std::vector<uint8_t> read(uint32_t frames, uint32_t frameBytes)
    {
        std::vector<uint8_t> bytes(std::size_t{frames} * frameBytes);
        AudioBufferList list{1, {{1, static_cast<uint32_t>(bytes.size()), bytes.data()}}};
        readStatus = ExtAudioFileRead(file_, &frames, &list);
        bytes.resize(std::size_t{frames} * frameBytes);
        return bytes;
    }

    OSStatus readStatus = noErr;

private:
    ExtAudioFileRef file_ = nullptr;
    OSStatus status_ = noErr;
};

template <class Sample> std::vector<Sample> samplesOf(const std::vector<uint8_t> &bytes)
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
    std::vector<uint8_t> all;
    for (auto bytes = file.read(block, frameBytes); !bytes.empty(); bytes = file.read(block, frameBytes))
        all.insert(all.end(), bytes.begin(), bytes.end());
    return samplesOf<Sample>(all);
}

inline std::vector<int16_t> bigEndian(std::vector<int16_t> samples)
{
    for (int16_t &s : samples)
        s = static_cast<int16_t>(__builtin_bswap16(static_cast<uint16_t>(s)));
    return samples;
}

} // namespace kx::test
