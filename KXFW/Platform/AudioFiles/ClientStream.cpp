#include "KXFW/Platform/AudioFiles/ClientStream.h"

#include "KXFW/Platform/AudioFiles/ClientFormat.h"
#include "KXFW/Platform/Conversion/SampleFormat.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <algorithm>

namespace kx
{

namespace
{

constexpr uint32_t kBlockFrames = 2048; ///< small enough that every pass over a block stays in the cache

bool isBigEndian(const AudioStreamBasicDescription &format)
{
    return (format.mFormatFlags & kAudioFormatFlagIsBigEndian) != 0;
}

} // namespace

StatusOr<std::unique_ptr<ClientStream>> ClientStream::make(Decoder &decoder, const AudioStreamBasicDescription &client)
{
    std::unique_ptr<ClientStream> stream(new ClientStream(decoder, client));
    if (!stream->direct_)
        if (const OSStatus status = stream->makeConverters(); status != noErr)
            return status;
    // Last, as the decoder may still serve another stream if this one cannot be made.
    const bool bigEndian = stream->direct_ && isBigEndian(client);
    stream->swapDirect_ = !decoder.setBigEndian(bigEndian) && bigEndian;
    return stream;
}

ClientStream::ClientStream(Decoder &decoder, const AudioStreamBasicDescription &client)
    : decoder_(decoder), client_(client), math_(decoder.format().rate, client.mSampleRate),
      fileChannels_(decoder.format().channels), inChannels_(std::min(fileChannels_, client.mChannelsPerFrame)),
      direct_(math_.isIdentity() && decoder.format().kind == SampleKind::Int16 &&
              fileChannels_ == client.mChannelsPerFrame && isInterleaved16(client))
{
}

OSStatus ClientStream::makeConverters()
{
    decoded_ =
        std::make_unique_for_overwrite<std::byte[]>(sampleBytes(decoder_.format().kind) * kBlockFrames * fileChannels_);
    filePlanes_ = Planes(fileChannels_, kBlockFrames);
    if (fileChannels_ > inChannels_) {
        fold_.emplace(fileChannels_, inChannels_);
        foldedPlanes_ = Planes(inChannels_, kBlockFrames);
    }
    if (client_.mChannelsPerFrame > inChannels_) {
        spread_.emplace(inChannels_, client_.mChannelsPerFrame);
        spreadPlanes_ = Planes(client_.mChannelsPerFrame, kBlockFrames);
    }
    if (math_.isIdentity())
        return noErr;
    auto made = RateConverter::make(decoder_.format().rate, client_.mSampleRate, inChannels_, kBlockFrames);
    if (!made)
        return made.status();
    rate_ = *std::move(made);
    ratedPlanes_ = Planes(inChannels_, kBlockFrames);
    return noErr;
}

OSStatus ClientStream::moveTo(int64_t frame)
{
    if (!rate_)
        return decoder_.seek(frame);
    const auto restart = rate_->restartFor(frame);
    rate_->reset();
    blockFrames_ = blockUsed_ = 0;
    inputEnded_ = false;
    drop_ = restart.drop;
    return decoder_.seek(std::min(restart.input, decoder_.format().frames));
}

StatusOr<uint32_t> ClientStream::read(AudioBufferList &out, uint32_t first, uint32_t frames)
{
    uint32_t done = 0;
    while (done < frames) {
        const auto step = direct_ ? &ClientStream::readDirect
                          : rate_ ? &ClientStream::readConverted
                                  : &ClientStream::readBlock;
        const auto made = (this->*step)(out, first + done, frames - done);
        if (!made && done == 0)
            return made.status();
        if (!made || *made == 0)
            break;
        done += *made;
    }
    return done;
}

StatusOr<uint32_t> ClientStream::readDirect(AudioBufferList &out, uint32_t first, uint32_t frames)
{
    std::byte *const samples = frameAt(client_, out, 0, first);
    auto made = decoder_.read(samples, frames);
    if (made && swapDirect_)
        swapBytes16(samples, samples, std::size_t{*made} * fileChannels_);
    return made;
}

StatusOr<uint32_t> ClientStream::readBlock(AudioBufferList &out, uint32_t first, uint32_t frames)
{
    auto made = decodeBlock(std::min(frames, kBlockFrames));
    if (made)
        deliver(fold_ ? foldedPlanes_.get() : filePlanes_.get(), *made, out, first);
    return made;
}

/// Some frames more out of the rate converter; 0 at the end of the file.
StatusOr<uint32_t> ClientStream::readConverted(AudioBufferList &out, uint32_t first, uint32_t frames)
{
    const uint32_t room = std::min(frames, kBlockFrames);
    while (true) {
        if (blockUsed_ == blockFrames_ && !inputEnded_)
            if (const OSStatus status = refill(); status != noErr)
                return status;
        const PlanesFrom input((fold_ ? foldedPlanes_ : filePlanes_).get(), inChannels_, blockUsed_);
        const uint32_t wanted = drop_ > 0 ? static_cast<uint32_t>(std::min<int64_t>(drop_, kBlockFrames)) : room;
        const auto progress =
            rate_->process(inputEnded_ ? nullptr : input.get(), blockFrames_ - blockUsed_, ratedPlanes_.get(), wanted);
        blockUsed_ += progress.inputUsed;
        if (progress.outputMade == 0) {
            if (inputEnded_)
                return uint32_t{0};
        } else if (drop_ > 0) {
            drop_ -= progress.outputMade;
        } else {
            deliver(ratedPlanes_.get(), progress.outputMade, out, first);
            return progress.outputMade;
        }
    }
}

OSStatus ClientStream::refill()
{
    const auto made = decodeBlock(kBlockFrames);
    if (!made)
        return made.status();
    blockFrames_ = *made;
    blockUsed_ = 0;
    inputEnded_ = blockFrames_ == 0;
    return noErr;
}

/// Decodes up to `frames` frames into the planes and folds them.
StatusOr<uint32_t> ClientStream::decodeBlock(uint32_t frames)
{
    const auto made = decoder_.read(decoded_.get(), frames);
    if (!made)
        return made.status();
    if (decoder_.format().kind == SampleKind::Int16)
        deinterleave(reinterpret_cast<const int16_t *>(decoded_.get()), fileChannels_, *made, filePlanes_.get());
    else
        deinterleave(reinterpret_cast<const float *>(decoded_.get()), fileChannels_, *made, filePlanes_.get());
    if (fold_)
        fold_->apply(filePlanes_.get(), foldedPlanes_.get(), *made);
    return *made;
}

void ClientStream::deliver(float *const *planes, uint32_t frames, AudioBufferList &out, uint32_t first)
{
    if (spread_) {
        spread_->apply(planes, spreadPlanes_.get(), frames);
        planes = spreadPlanes_.get();
    }
    fromPlanarFloat(client_, planes, frames, out, first);
}

} // namespace kx
