#include "KXFW/Platform/AudioFiles/FileReader.h"

#include "KXFW/Platform/AudioFiles/ClientFormat.h"
#include "KXFW/Platform/AudioFiles/FileBytes.h"
#include "KXFW/Platform/AudioFiles/OpeningSource.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <algorithm>

namespace kx
{

namespace
{

constexpr int64_t kMaximumFrames = int64_t{1} << 40;

bool isSupported(const DecodedFormat &format)
{
    return format.channels >= 1 && format.channels <= kMaximumChannels && format.rate >= kMinimumSampleRate &&
           format.rate <= kMaximumSampleRate && format.frames >= 0 && format.frames <= kMaximumFrames;
}

} // namespace

StatusOr<std::unique_ptr<FileReader>> FileReader::open(const std::filesystem::path &path, std::stop_token stop)
{
    const auto bytes = FileBytes::open(path);
    if (!bytes)
        return bytes.status();
    auto reader = open(*bytes, std::move(stop));
    if (reader)
        (*reader)->bytes_ = *bytes;
    return reader;
}

StatusOr<std::unique_ptr<FileReader>> FileReader::open(std::shared_ptr<ByteSource> source, std::stop_token stop)
{
    const auto opening = std::make_shared<OpeningSource>(std::move(source), std::move(stop));
    auto decoder = openDecoder(opening);
    if (const OSStatus status = opening->finish(); status != noErr)
        return status; // whatever a codec made of reads that failed
    return decoder ? open(*std::move(decoder)) : StatusOr<std::unique_ptr<FileReader>>(decoder.status());
}

StatusOr<std::unique_ptr<FileReader>> FileReader::open(std::unique_ptr<Decoder> decoder)
{
    const DecodedFormat &format = decoder->format();
    if (!isSupported(format))
        return kAudioFileUnsupportedDataFormatError;
    std::unique_ptr<FileReader> reader(new FileReader(std::move(decoder)));
    const OSStatus status = reader->setClient(interleaved(format.rate, format.channels, 32, kAudioFormatFlagIsFloat));
    return status == noErr ? StatusOr<std::unique_ptr<FileReader>>(std::move(reader)) : status;
}

OSStatus FileReader::setClient(const AudioStreamBasicDescription &client)
{
    const int64_t fileFrame = stream_ ? tell() : 0;
    auto stream = ClientStream::make(*decoder_, client);
    if (!stream)
        return stream.status();
    auto cache = std::make_unique<SeekCache>(client);
    stream_ = *std::move(stream);
    cache_ = std::move(cache);
    place(fileFrame);
    // A stream just made stands at the start already, and a move costs the rate converter a new lead-in.
    standing_ = next_ == 0 && decoder_->seek(0) == noErr ? 0 : -1;
    return noErr;
}

OSStatus FileReader::read(uint32_t &frames, AudioBufferList &out)
{
    const auto wanted = static_cast<uint32_t>(std::min<int64_t>(frames, stream_->length() - next_));
    frames = 0;
    while (frames < wanted) {
        const auto made = fetch(wanted - frames, out, frames);
        if (!made)
            return frames > 0 ? OSStatus{noErr} : made.status(); // the next read meets it at its start
        next_ += *made;
        frames += *made;
        hasRead_ = true;
    }
    return noErr;
}

/// Some of the next frames, from the cache unless the stream stands there already.
StatusOr<uint32_t> FileReader::fetch(uint32_t frames, AudioBufferList &out, uint32_t first)
{
    if (standing_ != next_) {
        if (const uint32_t copied = cache_->copy(next_, frames, out, first))
            return copied;
        standing_ = -1;
        if (const OSStatus status = stream_->moveTo(next_); status != noErr)
            return status;
        standing_ = next_;
    }
    const auto made = stream_->read(out, first, frames);
    if (!made || *made == 0) { // nothing is left, though the announced length says so
        standing_ = -1;
        return made ? kAudioFileReadError : made.status();
    }
    cache_->record(next_, *made, out, first);
    standing_ += *made;
    return *made;
}

OSStatus FileReader::seek(int64_t fileFrame)
{
    if (fileFrame < 0 || fileFrame > format().frames)
        return kExtAudioFileError_InvalidSeek;
    place(fileFrame);
    cache_->aim(next_);
    return noErr;
}

void FileReader::place(int64_t fileFrame) noexcept
{
    soughtFrame_ = fileFrame;
    hasRead_ = false;
    next_ = std::min(stream_->frameMath().outCeil(fileFrame), stream_->length());
}

bool FileReader::isHeldUp() const noexcept
{
    return bytes_ && bytes_->isHeldUp();
}

int64_t FileReader::tell() const noexcept
{
    return hasRead_ ? stream_->frameMath().inFloor(next_) : soughtFrame_;
}

} // namespace kx
