#include "KXFW/Audio/KXAudioUtil.h"

#include "KXFW/Audio/StatusAssertion.h"
#include "KXFW/Platform/Foundation/HomeDirectory.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <memory>
#include <vector>

namespace
{

constexpr uint32_t kFrames = 65536;
constexpr const char *kSite = "+[KXAudioUtil makeTestFile]";

struct Abandon {
    void operator()(ExtAudioFileRef file) const { ExtAudioFileAbandon(file); }
};
using FileBeingWritten = std::unique_ptr<std::remove_pointer_t<ExtAudioFileRef>, Abandon>;

/// Every 16-bit value, from -32,768 up, the same in each channel.
std::vector<uint16_t> ramp(uint32_t channels)
{
    std::vector<uint16_t> samples;
    samples.reserve(std::size_t{kFrames} * channels);
    for (uint32_t i = 0; i < kFrames; ++i)
        samples.insert(samples.end(), channels, static_cast<uint16_t>((i + 32768) % 65536));
    return samples;
}

} // namespace

void KXAudioUtil::makeTestFile()
{
    makeTestFile(kx::homeDirectory());
}

std::filesystem::path KXAudioUtil::makeTestFile(const std::filesystem::path &directory)
{
    const AudioStreamBasicDescription description = kx::interleaved(44100.0, 2, 16, kAudioFormatFlagIsSignedInteger);
    std::filesystem::path path = directory / "linear_dont_play.wav";
    ExtAudioFileRef created = nullptr;
    _ASSERT_NOERR(
        ExtAudioFileCreateWithURL(path, kAudioFileWAVEType, &description, nullptr, kAudioFileFlags_EraseFile, &created),
        kSite);
    FileBeingWritten file(created);
    _ASSERT_NOERR(
        ExtAudioFileSetProperty(file.get(), kExtAudioFileProperty_ClientDataFormat, sizeof description, &description),
        kSite);
    std::vector<uint16_t> samples = ramp(description.mChannelsPerFrame);
    const AudioBufferList buffers{
        1, {{description.mChannelsPerFrame, kFrames * description.mBytesPerFrame, samples.data()}}};
    _ASSERT_NOERR(ExtAudioFileWrite(file.get(), kFrames, &buffers), kSite);
    _ASSERT_NOERR(ExtAudioFileDispose(file.release()), kSite);
    return path;
}
