#include "kx/File.h"

#include "KXFW/Audio/KXAFilePlayerDataSource.h"
#include "KXFW/Platform/AudioFiles/FileFormats.h"
#include "kx/Internal/Errors.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace kx
{

namespace
{

constexpr std::size_t kMostFramesAtOnce = 65536; ///< a quarter of what one pre-read takes

FileInfo::Samples samplesOf(const AudioStreamBasicDescription &format)
{
    if (format.mFormatID != kAudioFormatLinearPCM)
        return FileInfo::Samples::Compressed;
    if ((format.mFormatFlags & kAudioFormatFlagIsFloat) != 0)
        return FileInfo::Samples::Float;
    return (format.mFormatFlags & kAudioFormatFlagIsSignedInteger) != 0 ? FileInfo::Samples::Integer
                                                                        : FileInfo::Samples::UnsignedInteger;
}

FileInfo infoOf(KXAFiledAudioData2 &data)
{
    const AudioStreamBasicDescription format = data._fileDataFormat();
    return {.encoding = encodingName(format.mFormatID),
            .samples = samplesOf(format),
            .bitsPerSample = format.mBitsPerChannel,
            .channels = format.mChannelsPerFrame,
            .sampleRate = format.mSampleRate,
            .fileFrames = data.fileLengthFrames()};
}

Error openError(OSStatus why, const std::filesystem::path &path)
{
    Error error = errorOf(why, path);
    std::error_code unknown;
    if (error.code == ErrorCode::Unsupported && std::filesystem::is_directory(path, unknown))
        error.reason = "it is a folder";
    return error;
}

} // namespace

struct File::Impl {
    std::filesystem::path path;
    std::shared_ptr<KXAFilePlayerDataSource> source;
    std::shared_ptr<KXAFiledAudioData2> data;
    FileInfo info;
    Frames length{0};
    Frames position{0};
};

std::vector<Format> formats()
{
    std::vector<Format> all;
    for (FileFormat &each : fileFormatTable()) {
        Format &format =
            all.emplace_back(Format{std::move(each.name), std::move(each.suffixes), std::move(each.mimeTypes), {}});
        std::ranges::transform(each.encodings, std::back_inserter(format.encodings), &SoundEncoding::name);
    }
    return all;
}

File::File(std::unique_ptr<Impl> impl) noexcept : impl_(std::move(impl)) {}
File::File(File &&other) noexcept = default;
File &File::operator=(File &&other) noexcept = default;
File::~File() = default;

Result<File> File::open(const std::filesystem::path &path, const std::stop_token &stop)
{
    return caught(path, [&]() -> Result<File> {
        OSStatus why = noErr;
        auto source = KXAFilePlayerDataSource::dataSourceWithContentsOfURL(path, stop, &why);
        if (!source)
            return openError(why, path);
        auto data = source->audioData();
        const FileInfo info = infoOf(*data);
        const Frames length(data->numFrames());
        return File(std::make_unique<Impl>(Impl{path, std::move(source), std::move(data), info, length}));
    });
}

const std::filesystem::path &File::path() const noexcept
{
    return impl_->path;
}

const FileInfo &File::info() const noexcept
{
    return impl_->info;
}

Frames File::length() const noexcept
{
    return impl_->length;
}

Frames File::position() const noexcept
{
    return impl_->position;
}

Result<std::size_t> File::read(std::span<std::int16_t> interleaved)
{
    return caught(impl_->path, [&]() -> Result<std::size_t> {
        const std::size_t wanted = interleaved.size() / 2;
        std::size_t done = 0;
        while (done < wanted) {
            auto frames = static_cast<std::uint32_t>(std::min(wanted - done, kMostFramesAtOnce));
            impl_->data->readNative(interleaved.data() + 2 * done, &frames);
            if (frames == 0)
                break;
            done += frames;
            impl_->position += Frames(frames);
        }
        return done;
    });
}

Result<> File::seek(Frames position)
{
    if (position < Frames(0) || position > impl_->length)
        return Error{ErrorCode::InvalidArgument,
                     "frame " + std::to_string(position.count()) + " does not lie in its " +
                         std::to_string(impl_->length.count()) + " frames",
                     impl_->path};
    return caught(impl_->path, [&]() -> Result<> {
        impl_->data->seek(position.count());
        impl_->position = position;
        return {};
    });
}

std::shared_ptr<KXAFilePlayerDataSource> File::native() const noexcept
{
    return impl_->source;
}

} // namespace kx
