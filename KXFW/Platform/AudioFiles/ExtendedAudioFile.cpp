#include "KXFW/Platform/AudioFiles/ExtendedAudioFile.h"

#include "KXFW/Platform/AudioFiles/ClientFormat.h"
#include "KXFW/Platform/AudioFiles/FileReader.h"
#include "KXFW/Platform/AudioFiles/FileWriter.h"
#include "KXFW/Platform/AudioFiles/PCMFileHeader.h"
#include "KXFW/Platform/AudioFiles/PropertyValue.h"

#include <cstring>
#include <memory>

/// Exactly one of the two is there.
struct OpaqueExtAudioFile {
    std::unique_ptr<kx::FileReader> reader;
    std::unique_ptr<kx::FileWriter> writer;

    [[nodiscard]] const AudioStreamBasicDescription &client() const
    {
        return reader ? reader->client() : writer->client();
    }
    [[nodiscard]] const AudioStreamBasicDescription &fileFormat() const
    {
        return reader ? reader->format().file : writer->format();
    }
    [[nodiscard]] int64_t frames() const { return reader ? reader->format().frames : writer->frames(); }
};

namespace
{

/// Of a layout that was handed over as a record: it is as long as its own count of descriptions says.
constexpr uint32_t kUnstatedSize = UINT32_MAX;

/// Runs a body that may run out of memory: no exception leaves the C interface.
template <class Body> OSStatus guarded(Body &&body) noexcept
{
    try {
        return body();
    } catch (...) {
        return kAudioFileUnspecifiedError;
    }
}

OSStatus setClientFormat(OpaqueExtAudioFile &file, uint32_t size, const void *data)
{
    AudioStreamBasicDescription format;
    if (size != sizeof format)
        return kExtAudioFileError_InvalidPropertySize;
    std::memcpy(&format, data, sizeof format);
    if (const OSStatus status = kx::checkClientFormat(format); status != noErr)
        return status;
    return file.reader ? file.reader->setClient(format) : file.writer->setClient(format);
}

} // namespace

OSStatus ExtAudioFileOpenURL(const std::filesystem::path &url, ExtAudioFileRef *file, std::stop_token stop)
{
    if (!file)
        return kExtAudioFileError_InvalidPropertySize;
    *file = nullptr;
    return guarded([&] {
        auto reader = kx::FileReader::open(url, std::move(stop));
        if (!reader)
            return reader.status();
        *file = new OpaqueExtAudioFile{*std::move(reader), nullptr};
        return noErr;
    });
}

OSStatus ExtAudioFileCreateWithURL(const std::filesystem::path &url, AudioFileTypeID type,
                                   const AudioStreamBasicDescription *format, const AudioChannelLayout *layout,
                                   uint32_t flags, ExtAudioFileRef *file)
{
    if (!file)
        return kExtAudioFileError_InvalidPropertySize;
    *file = nullptr;
    if (!format)
        return kAudioFileUnsupportedDataFormatError;
    if (const OSStatus status = kx::checkFileFormat(type, *format); status != noErr)
        return status;
    if (layout)
        if (const OSStatus status = kx::checkClientLayout(layout, kUnstatedSize, format->mChannelsPerFrame);
            status != noErr)
            return status;
    return guarded([&] {
        const bool replaces = (flags & kAudioFileFlags_EraseFile) != 0;
        auto writer =
            kx::FileWriter::create(url, type, *format, replaces ? kx::Existing::Replace : kx::Existing::Refuse);
        if (!writer)
            return writer.status();
        *file = new OpaqueExtAudioFile{nullptr, *std::move(writer)};
        return noErr;
    });
}

OSStatus ExtAudioFileDispose(ExtAudioFileRef file)
{
    const std::unique_ptr<OpaqueExtAudioFile> owned(file);
    if (!owned)
        return kAudioFileNotOpenError;
    return owned->writer ? guarded([&] { return owned->writer->close(); }) : noErr;
}

OSStatus ExtAudioFileAbandon(ExtAudioFileRef file)
{
    const std::unique_ptr<OpaqueExtAudioFile> owned(file);
    return owned ? noErr : kAudioFileNotOpenError;
}

OSStatus ExtAudioFileRead(ExtAudioFileRef file, uint32_t *frames, AudioBufferList *data)
{
    if (!file)
        return kAudioFileNotOpenError;
    if (!file->reader)
        return kExtAudioFileError_InvalidOperationOrder;
    if (!frames)
        return kExtAudioFileError_InvalidPropertySize;
    const AudioStreamBasicDescription client = file->client();
    if (const OSStatus status = kx::checkBuffers(client, data, *frames); status != noErr) {
        *frames = 0;
        return status;
    }
    const OSStatus status = guarded([&] { return file->reader->read(*frames, *data); });
    for (uint32_t i = 0; i < data->mNumberBuffers; ++i)
        data->mBuffers[i].mDataByteSize = *frames * client.mBytesPerFrame;
    return status;
}

bool ExtAudioFileIsHeldUp(ExtAudioFileRef file)
{
    return file && file->reader && file->reader->isHeldUp();
}

OSStatus ExtAudioFileWrite(ExtAudioFileRef file, uint32_t frames, const AudioBufferList *data)
{
    if (!file)
        return kAudioFileNotOpenError;
    if (!file->writer)
        return kExtAudioFileError_InvalidOperationOrder;
    if (const OSStatus status = kx::checkBuffers(file->client(), data, frames); status != noErr)
        return status;
    return guarded([&] { return file->writer->write(frames, *data); });
}

OSStatus ExtAudioFileSeek(ExtAudioFileRef file, int64_t frame)
{
    if (!file)
        return kAudioFileNotOpenError;
    return file->reader ? file->reader->seek(frame) : kExtAudioFileError_InvalidOperationOrder;
}

OSStatus ExtAudioFileTell(ExtAudioFileRef file, int64_t *frame)
{
    if (!file)
        return kAudioFileNotOpenError;
    if (!frame)
        return kExtAudioFileError_InvalidPropertySize;
    *frame = file->reader ? file->reader->tell() : file->writer->frames();
    return noErr;
}

OSStatus ExtAudioFileGetProperty(ExtAudioFileRef file, ExtAudioFilePropertyID property, uint32_t *size, void *data)
{
    if (!file)
        return kAudioFileNotOpenError;
    if (!size || !data)
        return kExtAudioFileError_InvalidPropertySize;
    switch (property) {
    case kExtAudioFileProperty_FileDataFormat:
        return kx::giveValue(&file->fileFormat(), sizeof(AudioStreamBasicDescription), size, data);
    case kExtAudioFileProperty_ClientDataFormat:
        return kx::giveValue(&file->client(), sizeof(AudioStreamBasicDescription), size, data);
    case kExtAudioFileProperty_FileLengthFrames: {
        const int64_t frames = file->frames();
        return kx::giveValue(&frames, sizeof frames, size, data);
    }
    default:
        return kExtAudioFileError_InvalidProperty;
    }
}

OSStatus ExtAudioFileSetProperty(ExtAudioFileRef file, ExtAudioFilePropertyID property, uint32_t size, const void *data)
{
    if (!file)
        return kAudioFileNotOpenError;
    if (!data)
        return kExtAudioFileError_InvalidPropertySize;
    switch (property) {
    case kExtAudioFileProperty_ClientDataFormat:
        return guarded([&] { return setClientFormat(*file, size, data); });
    case kExtAudioFileProperty_ClientChannelLayout:
        return kx::checkClientLayout(data, size, file->client().mChannelsPerFrame);
    default:
        return kExtAudioFileError_InvalidProperty;
    }
}

int64_t ExtAudioFileMaximumDataBytes(AudioFileTypeID type)
{
    return kx::maximumDataBytes(type);
}
