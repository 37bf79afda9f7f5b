#include "KXFW/Platform/AudioFiles/FileWriter.h"

#include "KXFW/Platform/AudioFiles/ClientFormat.h"
#include "KXFW/Platform/AudioFiles/PCMFileHeader.h"
#include "KXFW/Platform/Conversion/SampleFormat.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <algorithm>
#include <cstring>

namespace kx
{

namespace
{

constexpr uint32_t kBatchBytes = 1 << 18;
constexpr uint32_t kWriterBlockFrames = 2048;

bool isPlanarFloat(const AudioStreamBasicDescription &format)
{
    return sameFormat(format, planarFloat(format.mSampleRate, format.mChannelsPerFrame));
}

} // namespace

StatusOr<std::unique_ptr<FileWriter>> FileWriter::create(const std::filesystem::path &path, AudioFileTypeID type,
                                                         const AudioStreamBasicDescription &format, Existing existing)
{
    auto file = StagedFile::create(path, existing);
    if (!file)
        return file.status();
    std::unique_ptr<FileWriter> writer(new FileWriter(*std::move(file), type, format));
    if (const OSStatus status = writer->begin(); status != noErr)
        return status;
    return writer;
}

FileWriter::FileWriter(std::unique_ptr<StagedFile> file, AudioFileTypeID type,
                       const AudioStreamBasicDescription &format)
    : file_(std::move(file)), type_(type), format_(format), client_(format),
      math_(format.mSampleRate, format.mSampleRate), batchFrames_(kBatchBytes / format.mBytesPerFrame),
      batch_(1, format.mChannelsPerFrame, batchFrames_ * format.mBytesPerFrame)
{
}

OSStatus FileWriter::begin()
{
    const auto header = fileHeader(type_, format_, 0);
    return file_->append(header);
}

FileWriter::Path FileWriter::pathFor(const AudioStreamBasicDescription &client) const noexcept
{
    const bool sameShape =
        client.mSampleRate == format_.mSampleRate && client.mChannelsPerFrame == format_.mChannelsPerFrame;
    if (sameShape && sameFormat(client, format_))
        return Path::Copy;
    if (sameShape && isInterleaved16(client) && isInterleaved16(format_))
        return Path::Swap16;
    return sameShape && isPlanarFloat(client) ? Path::Planar : Path::Convert;
}

OSStatus FileWriter::setClient(const AudioStreamBasicDescription &client)
{
    if (clientFrames_ > 0)
        return kExtAudioFileError_InvalidOperationOrder;
    const FrameMath math(client.mSampleRate, format_.mSampleRate);
    const uint32_t channels = std::min(client.mChannelsPerFrame, format_.mChannelsPerFrame);
    Conversion conversion;
    if (!math.isIdentity()) {
        auto made = RateConverter::make(client.mSampleRate, format_.mSampleRate, channels, kWriterBlockFrames);
        if (!made)
            return made.status();
        conversion.rate = *std::move(made);
        conversion.rated = Planes(channels, kWriterBlockFrames);
    }
    if (client.mChannelsPerFrame > channels) {
        conversion.fold.emplace(client.mChannelsPerFrame, channels);
        conversion.folded = Planes(channels, kWriterBlockFrames);
    }
    if (format_.mChannelsPerFrame > channels) {
        conversion.spread.emplace(channels, format_.mChannelsPerFrame);
        conversion.spreadOut = Planes(format_.mChannelsPerFrame, kWriterBlockFrames);
    }
    conversion.client = Planes(client.mChannelsPerFrame, kWriterBlockFrames);
    conversion_ = std::move(conversion);
    math_ = math;
    client_ = client;
    path_ = pathFor(client);
    return noErr;
}

uint32_t FileWriter::commonChannels() const noexcept
{
    return std::min(client_.mChannelsPerFrame, format_.mChannelsPerFrame);
}

OSStatus FileWriter::write(uint32_t frames, const AudioBufferList &in)
{
    if (failure_ != noErr)
        return failure_;
    const int64_t after = math_.outFloor(clientFrames_ + frames);
    if (after > maximumDataBytes(type_) / format_.mBytesPerFrame)
        return kAudioFileTooLargeError;
    clientFrames_ += frames;
    switch (path_) {
    case Path::Copy:
    case Path::Swap16:
        return failure_ = writeBytes(frames, in);
    case Path::Planar:
        return failure_ = writePlanar(frames, in);
    default:
        return failure_ = writeConverted(frames, in);
    }
}

/// Calls `fill(frames done, most frames)`, which puts frames into the batch from batchUsed_ on and returns how many,
/// until `frames` are there; a full batch goes to the disk.
template <class Fill> OSStatus FileWriter::fillBatch(uint32_t frames, Fill fill)
{
    for (uint32_t done = 0; done < frames;) {
        const uint32_t count = fill(done, std::min(frames - done, batchFrames_ - batchUsed_));
        done += count;
        batchUsed_ += count;
        storedFrames_ += count;
        if (batchUsed_ == batchFrames_)
            if (const OSStatus status = flush(); status != noErr)
                return status;
    }
    return noErr;
}

OSStatus FileWriter::writeBytes(uint32_t frames, const AudioBufferList &in)
{
    return fillBatch(frames, [&](uint32_t done, uint32_t count) {
        const std::byte *from = frameAt(client_, in, 0, done);
        std::byte *to = frameAt(format_, *batch_.get(), 0, batchUsed_);
        if (path_ == Path::Swap16)
            swapBytes16(from, to, std::size_t{count} * format_.mChannelsPerFrame);
        else
            std::memcpy(to, from, std::size_t{count} * format_.mBytesPerFrame);
        return count;
    });
}

/// The hot path: the caller's floats are converted where they lie, straight into the batch.
OSStatus FileWriter::writePlanar(uint32_t frames, const AudioBufferList &in)
{
    const float *planes[kMaximumChannels];
    for (uint32_t c = 0; c < client_.mChannelsPerFrame; ++c)
        planes[c] = static_cast<const float *>(in.mBuffers[c].mData);
    return store(planes, frames);
}

OSStatus FileWriter::writeConverted(uint32_t frames, const AudioBufferList &in)
{
    for (uint32_t done = 0; done < frames;) {
        const uint32_t count = std::min(frames - done, kWriterBlockFrames);
        toPlanarFloat(client_, in, done, count, conversion_.client.get());
        const float *const *planes = conversion_.client.get();
        if (conversion_.fold) {
            conversion_.fold->apply(planes, conversion_.folded.get(), count);
            planes = conversion_.folded.get();
        }
        const OSStatus status = conversion_.rate ? convertRate(planes, count) : store(planes, count);
        if (status != noErr)
            return status;
        done += count;
    }
    return noErr;
}

OSStatus FileWriter::convertRate(const float *const *planes, uint32_t frames)
{
    uint32_t used = 0;
    while (true) {
        const PlanesFrom input(planes, commonChannels(), used);
        const auto progress =
            conversion_.rate->process(input.get(), frames - used, conversion_.rated.get(), kWriterBlockFrames);
        used += progress.inputUsed;
        if (const OSStatus status = store(conversion_.rated.get(), progress.outputMade); status != noErr)
            return status;
        if (progress.outputMade == 0 && (used == frames || progress.inputUsed == 0))
            return noErr;
    }
}

/// What the rate converter still holds, as far as the length goes.
OSStatus FileWriter::drainRate()
{
    while (storedFrames_ < frames()) {
        const auto wanted = static_cast<uint32_t>(std::min<int64_t>(frames() - storedFrames_, kWriterBlockFrames));
        const auto progress = conversion_.rate->process(nullptr, 0, conversion_.rated.get(), wanted);
        if (progress.outputMade == 0)
            break;
        if (const OSStatus status = store(conversion_.rated.get(), progress.outputMade); status != noErr)
            return status;
    }
    return noErr;
}

/// Planes of the file's rate into the batch, spread where the file has more channels.
OSStatus FileWriter::store(const float *const *planes, uint32_t frames)
{
    return fillBatch(frames, [&](uint32_t done, uint32_t room) {
        const PlanesFrom rest(planes, commonChannels(), done);
        const float *const *samples = rest.get();
        const uint32_t count = conversion_.spread ? std::min(room, kWriterBlockFrames) : room;
        if (conversion_.spread) {
            conversion_.spread->apply(samples, conversion_.spreadOut.get(), count);
            samples = conversion_.spreadOut.get();
        }
        fromPlanarFloat(format_, samples, count, *batch_.get(), batchUsed_);
        return count;
    });
}

OSStatus FileWriter::flush()
{
    const std::size_t bytes = std::size_t{batchUsed_} * format_.mBytesPerFrame;
    batchUsed_ = 0;
    return file_->append({batch_.data(0), bytes});
}

OSStatus FileWriter::close()
{
    if (failure_ == noErr && conversion_.rate)
        failure_ = drainRate();
    if (failure_ == noErr)
        failure_ = flush();
    if (failure_ == noErr && storedFrames_ * format_.mBytesPerFrame % 2 != 0) {
        const std::byte padding{0};
        failure_ = file_->append({&padding, 1});
    }
    if (failure_ != noErr)
        return failure_;
    const auto header = fileHeader(type_, format_, storedFrames_);
    failure_ = file_->overwrite(0, header);
    return failure_ != noErr ? failure_ : failure_ = file_->commit();
}

} // namespace kx
