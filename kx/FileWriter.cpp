#include "kx/FileWriter.h"

#include "KXFW/Platform/AudioFiles/AudioFile.h"
#include "KXFW/Platform/AudioFiles/ExtendedAudioFile.h"
#include "kx/Internal/Errors.h"

#include <utility>

namespace kx
{

namespace
{

constexpr std::size_t kMostSamplesAtOnce = 1 << 20;

AudioStreamBasicDescription pcm(const WriterFormat &format, uint32_t flags, uint32_t sampleBytes)
{
    const uint32_t frameBytes = sampleBytes * format.channels;
    return {format.sampleRate,
            kAudioFormatLinearPCM,
            flags | kAudioFormatFlagIsPacked,
            frameBytes,
            1,
            frameBytes,
            format.channels,
            8 * sampleBytes,
            0};
}

AudioStreamBasicDescription inFile(const WriterFormat &format)
{
    const bool isBigEndian = format.container == WriterFormat::Container::AIFF;
    const uint32_t order = isBigEndian ? uint32_t{kAudioFormatFlagIsBigEndian} : 0U;
    return format.samples == WriterFormat::Samples::Float32
               ? pcm(format, kAudioFormatFlagIsFloat | order, sizeof(float))
               : pcm(format, kAudioFormatFlagIsSignedInteger | order, sizeof(int16_t));
}

} // namespace

struct FileWriter::Impl {
    std::filesystem::path path;
    uint32_t channels;
    ExtAudioFileRef file = nullptr;

    Impl(std::filesystem::path p, uint32_t c) : path(std::move(p)), channels(c) {}
    ~Impl()
    {
        if (file)
            ExtAudioFileAbandon(file);
    }
    Impl(const Impl &) = delete;
    Impl &operator=(const Impl &) = delete;

    /// Whole frames. The list is not written to.
    OSStatus write(std::span<const float> samples) const
    {
        const AudioBufferList list{
            1, {{channels, static_cast<uint32_t>(samples.size_bytes()), const_cast<float *>(samples.data())}}};
        return ExtAudioFileWrite(file, static_cast<uint32_t>(samples.size() / channels), &list);
    }
    OSStatus open(const WriterFormat &format)
    {
        const AudioStreamBasicDescription written = inFile(format);
        const AudioStreamBasicDescription given = pcm(format, kAudioFormatFlagIsFloat, sizeof(float));
        const OSStatus status = ExtAudioFileCreateWithURL(
            path, format.container == WriterFormat::Container::AIFF ? kAudioFileAIFFType : kAudioFileWAVEType, &written,
            nullptr, kAudioFileFlags_EraseFile, &file);
        return status != noErr
                   ? status
                   : ExtAudioFileSetProperty(file, kExtAudioFileProperty_ClientDataFormat, sizeof given, &given);
    }
};

FileWriter::FileWriter(std::unique_ptr<Impl> impl) noexcept : impl_(std::move(impl)) {}
FileWriter::FileWriter(FileWriter &&other) noexcept = default;
FileWriter &FileWriter::operator=(FileWriter &&other) noexcept = default;
FileWriter::~FileWriter() = default;

Result<FileWriter> FileWriter::create(const std::filesystem::path &path, const WriterFormat &format)
{
    return caught(path, [&]() -> Result<FileWriter> {
        auto impl = std::make_unique<Impl>(path, format.channels);
        if (const OSStatus status = impl->open(format); status != noErr)
            return asOfWriting(errorOf(status, path));
        return FileWriter(std::move(impl));
    });
}

Result<> FileWriter::write(std::span<const float> interleaved)
{
    if (!impl_->file)
        return Error{ErrorCode::InvalidArgument, "the file is finished", impl_->path};
    if (interleaved.size() % impl_->channels != 0)
        return Error{ErrorCode::InvalidArgument, "only whole frames can be written", impl_->path};
    const std::size_t most = kMostSamplesAtOnce / impl_->channels * impl_->channels;
    return caught(impl_->path, [&]() -> Result<> {
        for (; !interleaved.empty(); interleaved = interleaved.subspan(std::min(most, interleaved.size())))
            if (const OSStatus status = impl_->write(interleaved.first(std::min(most, interleaved.size())));
                status != noErr)
                return errorOf(status, impl_->path);
        return {};
    });
}

Result<> FileWriter::finish()
{
    if (!impl_->file)
        return Error{ErrorCode::InvalidArgument, "the file is finished", impl_->path};
    return caught(impl_->path, [&]() -> Result<> {
        return resultOf(ExtAudioFileDispose(std::exchange(impl_->file, nullptr)), impl_->path);
    });
}

} // namespace kx
