#include "KXFW/Platform/AudioFiles/AudioFile.h"

#include "KXFW/Platform/AudioFiles/FileReader.h"
#include "KXFW/Platform/AudioFiles/PropertyValue.h"

#include <memory>

struct OpaqueAudioFileID {
    std::unique_ptr<kx::FileReader> reader;
};

namespace
{

/// A count of `perFrame` things for each frame; without that the codec's packets vary.
OSStatus giveCount(int64_t frames, uint32_t perFrame, uint32_t *size, void *data)
{
    const uint64_t count = static_cast<uint64_t>(frames) * perFrame;
    return perFrame > 0 ? kx::giveValue(&count, sizeof count, size, data) : kAudioFileUnsupportedPropertyError;
}

} // namespace

OSStatus AudioFileOpenURL(const std::filesystem::path &url, AudioFileID *file)
{
    if (!file)
        return kExtAudioFileError_InvalidPropertySize;
    *file = nullptr;
    try {
        auto reader = kx::FileReader::open(url);
        if (!reader)
            return reader.status();
        *file = new OpaqueAudioFileID{*std::move(reader)};
        return noErr;
    } catch (...) { // no exception leaves the C interface
        return kAudioFileUnspecifiedError;
    }
}

OSStatus AudioFileClose(AudioFileID file)
{
    const std::unique_ptr<OpaqueAudioFileID> owned(file);
    return owned ? noErr : kAudioFileNotOpenError;
}

OSStatus AudioFileGetProperty(AudioFileID file, AudioFilePropertyID property, uint32_t *size, void *data)
{
    if (!file)
        return kAudioFileNotOpenError;
    if (!size || !data)
        return kExtAudioFileError_InvalidPropertySize;
    const kx::DecodedFormat &format = file->reader->format();
    switch (property) {
    case kAudioFilePropertyDataFormat:
        return kx::giveValue(&format.file, sizeof format.file, size, data);
    case kAudioFilePropertyAudioDataByteCount:
        return giveCount(format.frames, format.file.mBytesPerFrame, size, data);
    case kAudioFilePropertyAudioDataPacketCount:
        return giveCount(format.frames, format.file.mBytesPerFrame > 0 ? 1 : 0, size, data);
    default:
        return kAudioFileUnsupportedPropertyError;
    }
}
