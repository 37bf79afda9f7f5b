#include "KXFW/Audio/Player/OfflineExport.h"

#include "KXFW/Audio/KXAudioUtil.h"
#include "KXFW/Audio/StatusAssertion.h"
#include "KXFW/Platform/AudioFiles/DiskDeadline.h"
#include "KXFW/Platform/Foundation/NSLog.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <utility>

namespace kx
{

namespace
{

constexpr uint32_t kFramesPerSlice = 512;
constexpr const char *kExportSite =
    "-[KXAFilePlayer exportAsyncWithURL:progressAndCancelBlock:completionBlock:]_block_invoke";

/// A file being written, thrown away unless it is closed.
class FileBeingWritten
{
public:
    explicit FileBeingWritten(const std::filesystem::path &url)
    {
        const AudioStreamBasicDescription standard = GetStandardDescription();
        _ASSERT_NOERR(
            ExtAudioFileCreateWithURL(url, kAudioFileAIFFType, &standard, nullptr, kAudioFileFlags_EraseFile, &file_),
            kExportSite);
    }
    ~FileBeingWritten()
    {
        if (file_)
            ExtAudioFileAbandon(file_);
    }
    FileBeingWritten(const FileBeingWritten &) = delete;
    FileBeingWritten &operator=(const FileBeingWritten &) = delete;

    [[nodiscard]] ExtAudioFileRef get() const noexcept { return file_; }
    void close() { _ASSERT_NOERR(ExtAudioFileDispose(std::exchange(file_, nullptr)), kExportSite); }

private:
    ExtAudioFileRef file_ = nullptr;
};

/// Keeps a record's loop flag off for a while.
class LoopOff
{
public:
    explicit LoopOff(KXAPlayerParam &param) : param_(param), loop_(param.loop()) { param_.setLoop(false); }
    ~LoopOff() { param_.setLoop(loop_); }
    LoopOff(const LoopOff &) = delete;
    LoopOff &operator=(const LoopOff &) = delete;

private:
    KXAPlayerParam &param_;
    bool loop_;
};

} // namespace

OfflineExport::OfflineExport(PlayerFields &fields, PlaybackPosition &position, RenderSource &source,
                             const std::optional<ByteRange> &exactRange,
                             const KXAFilePlayer::ProgressAndCancelBlock &progressAndCancelBlock)
    : fields_(fields), position_(position), source_(source), exactRange_(exactRange),
      progressAndCancelBlock_(progressAndCancelBlock), param_(fields.param()), data_(fields.audioData()),
      bytesPerFrame_(param_.inputDesc().mBytesPerFrame), mayHold_(source.chainMayHold())
{
}

int64_t OfflineExport::dataSize() const
{
    return data_ ? data_->bufferSize() : 0;
}

ByteRange OfflineExport::range() const
{
    return exactRange_.value_or(ByteRange{param_.startOffset(), param_.endOffset()});
}

/// Where the export ends. An end beyond the data is met by the silence there, unless the range's frames alone are
/// wanted.
int64_t OfflineExport::endFrame() const
{
    const int64_t end = range().end;
    return framesIn(exactRange_ ? std::min(end, dataSize()) : end);
}

/// Frames that went into the chain so far, silence included.
int64_t OfflineExport::entered() const
{
    return position_.timeline().entered();
}

int64_t OfflineExport::framesIn(int64_t bytes) const
{
    return bytesPerFrame_ == 0 ? 0 : bytes / bytesPerFrame_;
}

int64_t OfflineExport::position() const
{
    return framesIn(param_.byteOffset());
}

void OfflineExport::writeTo(const std::filesystem::path &url)
{
    const DiskPatience patience; // nobody waits for this thread
    refuseTooLong();
    FileBeingWritten file(url);
    const AudioStreamBasicDescription format = postUnitFormat();
    _ASSERT_NOERR(ExtAudioFileSetProperty(file.get(), kExtAudioFileProperty_ClientDataFormat, sizeof format, &format),
                  kExportSite);
    {
        const LoopOff loopOff(param_);
        writeSlices(file.get(), format);
    }
    file.close();
}

AudioStreamBasicDescription OfflineExport::postUnitFormat() const
{
    AudioStreamBasicDescription format{};
    uint32_t size = sizeof format;
    _ASSERT_NOERR(AudioUnitGetProperty(param_.postUnit(), kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output, 0,
                                       &format, &size),
                  kExportSite);
    return format;
}

/// What the file format cannot hold is refused before its first byte.
void OfflineExport::refuseTooLong() const
{
    const int64_t end = std::min(endFrame(), framesIn(dataSize()));
    const int64_t frames = std::max<int64_t>(end - position(), 0);
    const auto slices = static_cast<int64_t>(std::ceil(static_cast<double>(frames) / drawRate() / kFramesPerSlice));
    const int64_t bytesPerSlice = int64_t{GetStandardDescription().mBytesPerFrame} * kFramesPerSlice;
    if (slices > ExtAudioFileMaximumDataBytes(kAudioFileAIFFType) / bytesPerSlice)
        _ASSERT_NOERR(kAudioFileTooLargeError, kExportSite);
}

/// Frames of the input for each frame written, as the chain is set now.
double OfflineExport::drawRate() const
{
    double rate = 1;
    uint32_t size = sizeof rate;
    AudioUnitGetProperty(param_.postUnit(), kAudioUnitProperty_DrawRate, kAudioUnitScope_Global, 0, &rate, &size);
    return rate;
}

void OfflineExport::writeSlices(ExtAudioFileRef file, const AudioStreamBasicDescription &format)
{
    BufferList buffers(bufferCount(format), channelsPerBuffer(format), format.mBytesPerFrame * kFramesPerSlice);
    AudioTimeStamp time{};
    time.mFlags = kAudioTimeStampSampleTimeValid;
    firstFrame_ = position();
    enteredBefore_ = entered();
    bool goesOn = true;
    while (goesOn && hasMore() && !cancelled()) {
        uint32_t frames = nextSlice();
        for (uint32_t left = kFramesPerSlice; goesOn && left >= frames && hasMore(); left -= frames)
            goesOn = writeSlice(file, buffers, time, frames);
    }
}

/// Whole slices. Where the range may end inside of one, and its frames alone are wanted, single frames: only between
/// two of them is it known that all is written.
uint32_t OfflineExport::nextSlice() const
{
    constexpr double kUncertain = 16; // frames of the input, in what the chain says that it holds
    const auto left = static_cast<double>(endFrame() - playedUpTo());
    return exactRange_ && left < drawRate() * kFramesPerSlice + kUncertain ? 1 : kFramesPerSlice;
}

/// Until the position reaches the range's end, and then as long as frames of the range are held back by the chain.
bool OfflineExport::hasMore() const
{
    const int64_t end = endFrame();
    return position() < end || playedUpTo() < end;
}

/// The file's frame, had it no end, that the next slice begins with. Where nothing is held back it is the position.
int64_t OfflineExport::playedUpTo() const
{
    return firstFrame_ + entered() - enteredBefore_ - (mayHold_ ? source_.heldFrames() : 0);
}

bool OfflineExport::cancelled() const
{
    if (!progressAndCancelBlock_)
        return false;
    const int64_t start = framesIn(range().start);
    const int64_t length = framesIn(range().end) - start;
    const auto done = static_cast<double>(position() - start);
    return progressAndCancelBlock_(length > 0 ? std::min(done * 100.0 / static_cast<double>(length), 100.0) : 0.0);
}

/// Silence is no finished export where there is data left that could not be read.
void OfflineExport::refuseHalf(int64_t silentFrames) const
{
    if (silentFrames <= 0)
        return;
    const int64_t size = dataSize();
    const int64_t end = std::min(range().end, size);
    const bool rangeHasData = framesIn(range().start) < framesIn(end);
    if (rangeHasData && framesIn(param_.byteOffset()) < framesIn(exactRange_ ? end : size))
        _ASSERT_NOERR(data_->endedByFailure() ? kAudioFileReadError : kAudioFileEndOfFileError, kExportSite);
}

/// Renders and writes `frames` frames; false when the data is exhausted.
bool OfflineExport::writeSlice(ExtAudioFileRef file, BufferList &buffers, AudioTimeStamp &time, uint32_t frames)
{
    if (data_)
        data_->prereadFrames(frames);
    const int64_t before = position();
    const int64_t enteredBefore = entered();
    const bool holdsSome = playedUpTo() < std::min(before, endFrame());
    buffers.rewind(~0U);
    AudioUnitRenderActionFlags flags = 0;
    const OSStatus rendered = AudioUnitRender(param_.postUnit(), &flags, &time, 0, frames, buffers.get());
    if (const std::exception_ptr failure = fields_.failure.exchange(nullptr))
        std::rethrow_exception(failure);
    _ASSERT_NOERR(rendered, kExportSite);
    const int64_t read = position() - before;
    refuseHalf(entered() - enteredBefore - read);
    if (read == 0 && !holdsSome) {
        NSLog("no frames read");
        return false;
    }
    time.mSampleTime += frames;
    _ASSERT_NOERR(ExtAudioFileWrite(file, frames, buffers.get()), kExportSite);
    return true;
}

} // namespace kx
