#include "KXFW/Audio/KXAFiledAudioData2.h"

#include "KXFW/Audio/AudioDataSites.h"
#include "KXFW/Audio/KXAudioUtil.h"
#include "KXFW/Platform/Foundation/NSException.h"
#include "KXFW/Platform/Foundation/NSLog.h"

#include <algorithm>
#include <cmath>

const uint64_t kKXAFiledAudioData_RingBufferSize = 16777216;
const uint64_t kKXAFiledAudioData_BridgeBufferSize = 1048576;

namespace sites = kx::audioDataSites;

namespace
{

constexpr int64_t kMostFileFrames = int64_t{1} << 42; ///< more than any file service delivers; keeps products in range

} // namespace

KXAFiledAudioData2::KXAFiledAudioData2()
{
    ringBuffer_.set(std::make_shared<KXRingBuffer>(kKXAFiledAudioData_RingBufferSize));
    bridgeBufferData_.set(std::make_shared<kx::ByteBlock>(kKXAFiledAudioData_BridgeBufferSize));
    ringBufferQueue_.set(std::make_shared<kx::SerialQueue>("KXAFiledAudioData.ringBufferQueue"));
    fileAccessQueue_.set(std::make_shared<kx::SerialQueue>("KXAFiledAudioData.fileAccessQueue"));
    prereadQueue_.set(std::make_shared<kx::SerialQueue>("KXAFiledAudioData.prereadQueue"));
    fileDataFormat_ = std::make_unique<AudioStreamBasicDescription>();
    fixParts();
}

KXAFiledAudioData2::~KXAFiledAudioData2()
{
    try {
        _finalize();
    } catch (const NSException &exception) {
        NSLog("exception:%@", exception.description());
    } catch (...) {
        NSLog("exception:%@", "the file could not be closed");
    }
}

std::shared_ptr<KXAFiledAudioData2> KXAFiledAudioData2::audioDataWithContentsOfURL(const std::filesystem::path &url,
                                                                                   const std::stop_token &stop)
{
    auto data = std::make_shared<KXAFiledAudioData2>();
    data->setFileURL(url);
    try {
        data->prepareForRead(stop);
    } catch (const NSException &exception) {
        if (stop.stop_requested())
            return nullptr;
        NSLog("exception:%@", exception.description());
        NSLog("exception.userInfo:%@", kx::description(exception.userInfo()));
        return nullptr;
    }
    return data;
}

std::shared_ptr<KXAFiledAudioData2> KXAFiledAudioData2::audioDataWithContentsOfURL(const std::filesystem::path &url,
                                                                                   const std::stop_token &stop,
                                                                                   OSStatus *why)
{
    auto data = std::make_shared<KXAFiledAudioData2>();
    data->setFileURL(url);
    *why = noErr;
    try {
        data->prepareForRead(stop);
    } catch (const NSException &exception) {
        const auto error = exception.userInfo().find("error");
        *why = error == exception.userInfo().end() ? kAudioFileUnspecifiedError
                                                   : static_cast<OSStatus>(error->second.code);
        if (stop.stop_requested())
            *why = kAudioFileOpeningCancelledError;
        return nullptr;
    }
    return data;
}

void KXAFiledAudioData2::prepareForRead(const std::stop_token &stop)
{
    constexpr const char *kSite = "-[KXAFiledAudioData2 prepareForRead]";
    _finalize(); // of a file that was open before
    ExtAudioFileRef file = nullptr;
    _ASSERT_NOERR(ExtAudioFileOpenURL(fileURL(), &file, stop), sites::kOpen);
    startOver();
    fileRef_ = file;
    const AudioStreamBasicDescription standard = GetStandardDescription();
    setFormat(standard);
    _ASSERT_NOERR(ExtAudioFileSetProperty(file, kExtAudioFileProperty_ClientDataFormat, sizeof standard, &standard),
                  sites::kSetClientFormat);
    AudioChannelLayout layout{};
    layout.mChannelLayoutTag = kAudioChannelLayoutTag_UseChannelDescriptions;
    layout.mChannelBitmap = kAudioChannelBit_Left | kAudioChannelBit_Right;
    _ASSERT_NOERR(ExtAudioFileSetProperty(file, kExtAudioFileProperty_ClientChannelLayout, sizeof layout, &layout),
                  sites::kSetChannelLayout);
    // The file service keeps what it decodes after a seek, so a loop back to the start costs a copy from the first on.
    _ASSERT_NOERR(ExtAudioFileSeek(file, 0), kSite);
    _ensureFileLengthFrames();
}

void KXAFiledAudioData2::finalizeForRead()
{
    _finalize();
}

void KXAFiledAudioData2::_finalize()
{
    const ExtAudioFileRef file = fileRef_.exchange(nullptr);
    if (!file)
        return;
    const OSStatus status = ExtAudioFileDispose(file); // frees the file whatever it says
    const std::lock_guard guard(formatLock_);
    fileDataFormat_ = nullptr;
    fileRate_ = 0.0;
    _ASSERT_NOERR(status, sites::kClose);
}

/// Nothing of an earlier file is left.
void KXAFiledAudioData2::startOver()
{
    fileDataFormat_ = std::make_unique<AudioStreamBasicDescription>();
    fileRate_ = 0.0;
    fileLengthFrames_ = 0;
    parts_.ringQueue->sync([this] { parts_.ring->clear(); });
    endedByFailure_ = false;
    failureReported_ = false;
    heldFailure_ = noErr;
    framesToDrop_ = 0;
}

void KXAFiledAudioData2::_ensureFileLengthFrames()
{
    int64_t frames = 0;
    uint32_t size = sizeof frames;
    _ASSERT_NOERR(ExtAudioFileGetProperty(fileRef_, kExtAudioFileProperty_FileLengthFrames, &size, &frames),
                  sites::kAskLength);
    fileLengthFrames_ = frames;
}

void KXAFiledAudioData2::_ensureFileDataFormat()
{
    if (fileRate_ != 0.0)
        return;
    const std::lock_guard guard(formatLock_);
    if (!fileDataFormat_)
        return;
    if (fileDataFormat_->mSampleRate == 0.0) {
        AudioStreamBasicDescription format{};
        uint32_t size = sizeof format;
        _ASSERT_NOERR(ExtAudioFileGetProperty(fileRef_, kExtAudioFileProperty_FileDataFormat, &size, &format),
                      sites::kAskFormat);
        *fileDataFormat_ = format;
    }
    fileRate_ = fileDataFormat_->mSampleRate;
}

AudioStreamBasicDescription KXAFiledAudioData2::_fileDataFormat()
{
    _ensureFileDataFormat();
    return fileDataFormat_ ? *fileDataFormat_ : AudioStreamBasicDescription{};
}

int64_t KXAFiledAudioData2::numFrames()
{
    if (!fileRef_.load())
        return 0;
    if (fileLengthFrames_ == 0)
        _ensureFileLengthFrames();
    _ensureFileDataFormat();
    const auto length = static_cast<double>(std::clamp<int64_t>(fileLengthFrames_, 0, kMostFileFrames));
    const double frames = length * format().mSampleRate / fileRate_;
    return std::isfinite(frames) ? static_cast<int64_t>(frames) : 0;
}

int64_t KXAFiledAudioData2::tell()
{
    return parts_.fileQueue->sync([this] {
        int64_t frame = 0;
        _ASSERT_NOERR(ExtAudioFileTell(fileRef_, &frame), sites::kTell);
        return frame;
    });
}

uint32_t KXAFiledAudioData2::copyToBuffer(void *destination, uint64_t startingByte, uint64_t numBytes)
{
    AudioStreamBasicDescription client{};
    uint32_t size = sizeof client;
    _ASSERT_NOERR(ExtAudioFileGetProperty(fileRef_, kExtAudioFileProperty_ClientDataFormat, &size, &client),
                  sites::kCopyAskFormat);
    int64_t position = 0;
    _ASSERT_NOERR(ExtAudioFileTell(fileRef_, &position), sites::kCopyTell);
    const auto target = static_cast<int64_t>(startingByte / client.mBytesPerFrame);
    if (position != target) {
        NSLog("seek");
        _ASSERT_NOERR(ExtAudioFileSeek(fileRef_, target), sites::kCopySeek);
    }
    const auto bytes = static_cast<uint32_t>(numBytes);
    AudioBufferList list{1, {{client.mChannelsPerFrame, bytes, destination}}};
    uint32_t frames = bytes / client.mBytesPerFrame;
    _ASSERT_NOERR(ExtAudioFileRead(fileRef_, &frames, &list), sites::kCopyRead);
    return client.mBytesPerFrame * frames;
}

bool KXAFiledAudioData2::setFileDataFormatPtr(AudioStreamBasicDescription *format)
{
    std::unique_ptr<AudioStreamBasicDescription> taken(format);
    if (fileRef_.load())
        return false;
    fileDataFormat_ = std::move(taken);
    return true;
}

bool KXAFiledAudioData2::setFileRef(ExtAudioFileRef file) noexcept
{
    if (fileRef_.load())
        return false;
    fixParts();
    fileRef_ = file;
    return true;
}

void KXAFiledAudioData2::fixParts()
{
    parts_ = {ringBuffer().get(), bridgeBufferData().get(), ringBufferQueue().get(), fileAccessQueue().get()};
}
