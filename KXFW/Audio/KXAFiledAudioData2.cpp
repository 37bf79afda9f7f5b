#include "KXFW/Audio/KXAFiledAudioData2Impl.h"

#include "KXFW/Audio/AudioDataSites.h"
#include "KXFW/Audio/KXAudioUtil.h"
#include "KXFW/Platform/Foundation/NSException.h"
#include "KXFW/Platform/Foundation/NSLog.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace sites = kx::audioDataSites;

const uint64_t kKXAFiledAudioData_RingBufferSize = 16777216;
const uint64_t kKXAFiledAudioData_BridgeBufferSize = 1048576;

namespace
{

constexpr int64_t kMostFileFrames = int64_t{1} << 42; ///< more than any file service delivers; keeps products in range

} // namespace

KXAFiledAudioData2::KXAFiledAudioData2() : impl_(std::make_unique<Impl>(*this))
{
    impl_->ringBuffer.set(std::make_shared<KXRingBuffer>(kKXAFiledAudioData_RingBufferSize));
    impl_->bridgeBufferData.set(std::make_shared<kx::ByteBlock>(kKXAFiledAudioData_BridgeBufferSize));
    impl_->ringBufferQueue.set(std::make_shared<kx::SerialQueue>("KXAFiledAudioData.ringBufferQueue"));
    impl_->fileAccessQueue.set(std::make_shared<kx::SerialQueue>("KXAFiledAudioData.fileAccessQueue"));
    impl_->prereadQueue.set(std::make_shared<kx::SerialQueue>("KXAFiledAudioData.prereadQueue"));
    impl_->fileDataFormat = std::make_unique<AudioStreamBasicDescription>();
    impl_->fixParts();
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
    _finalize(); // of a file that was open before
    ExtAudioFileRef file = nullptr;
    _ASSERT_NOERR(ExtAudioFileOpenURL(fileURL(), &file, stop), sites::kOpen);
    impl_->startOver();
    impl_->fileRef = file;
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
    _ASSERT_NOERR(ExtAudioFileSeek(file, 0), "-[KXAFiledAudioData2 prepareForRead]");
    _ensureFileLengthFrames();
}

void KXAFiledAudioData2::finalizeForRead()
{
    _finalize();
}

void KXAFiledAudioData2::_finalize()
{
    const ExtAudioFileRef file = impl_->fileRef.exchange(nullptr);
    if (!file)
        return;
    const OSStatus status = ExtAudioFileDispose(file); // frees the file whatever it says
    const std::lock_guard guard(impl_->formatLock);
    impl_->fileDataFormat = nullptr;
    impl_->fileRate = 0.0;
    _ASSERT_NOERR(status, sites::kClose);
}

void KXAFiledAudioData2::_ensureFileLengthFrames()
{
    int64_t frames = 0;
    uint32_t size = sizeof frames;
    _ASSERT_NOERR(ExtAudioFileGetProperty(impl_->fileRef, kExtAudioFileProperty_FileLengthFrames, &size, &frames),
                  sites::kAskLength);
    impl_->fileLengthFrames = frames;
}

void KXAFiledAudioData2::_ensureFileDataFormat()
{
    if (impl_->fileRate != 0.0)
        return;
    const std::lock_guard guard(impl_->formatLock);
    if (!impl_->fileDataFormat)
        return;
    if (impl_->fileDataFormat->mSampleRate == 0.0) {
        AudioStreamBasicDescription format{};
        uint32_t size = sizeof format;
        _ASSERT_NOERR(ExtAudioFileGetProperty(impl_->fileRef, kExtAudioFileProperty_FileDataFormat, &size, &format),
                      sites::kAskFormat);
        *impl_->fileDataFormat = format;
    }
    impl_->fileRate = impl_->fileDataFormat->mSampleRate;
}

AudioStreamBasicDescription KXAFiledAudioData2::_fileDataFormat()
{
    _ensureFileDataFormat();
    return impl_->fileDataFormat ? *impl_->fileDataFormat : AudioStreamBasicDescription{};
}

int64_t KXAFiledAudioData2::numFrames()
{
    if (!impl_->fileRef.load())
        return 0;
    if (impl_->fileLengthFrames == 0)
        _ensureFileLengthFrames();
    _ensureFileDataFormat();
    const auto length = static_cast<double>(std::clamp<int64_t>(impl_->fileLengthFrames, 0, kMostFileFrames));
    const double frames = length * format().mSampleRate / impl_->fileRate;
    return std::isfinite(frames) ? static_cast<int64_t>(frames) : 0;
}

int64_t KXAFiledAudioData2::tell()
{
    return impl_->parts.fileQueue->sync([this] {
        int64_t frame = 0;
        _ASSERT_NOERR(ExtAudioFileTell(impl_->fileRef, &frame), sites::kTell);
        return frame;
    });
}

uint32_t KXAFiledAudioData2::copyToBuffer(void *destination, uint64_t startingByte, uint64_t numBytes)
{
    AudioStreamBasicDescription client{};
    uint32_t size = sizeof client;
    _ASSERT_NOERR(ExtAudioFileGetProperty(impl_->fileRef, kExtAudioFileProperty_ClientDataFormat, &size, &client),
                  sites::kCopyAskFormat);
    int64_t position = 0;
    _ASSERT_NOERR(ExtAudioFileTell(impl_->fileRef, &position), sites::kCopyTell);
    const auto target = static_cast<int64_t>(startingByte / client.mBytesPerFrame);
    if (position != target) {
        NSLog("seek");
        _ASSERT_NOERR(ExtAudioFileSeek(impl_->fileRef, target), sites::kCopySeek);
    }
    const auto bytes = static_cast<uint32_t>(numBytes);
    AudioBufferList list{1, {{client.mChannelsPerFrame, bytes, destination}}};
    uint32_t frames = bytes / client.mBytesPerFrame;
    _ASSERT_NOERR(ExtAudioFileRead(impl_->fileRef, &frames, &list), sites::kCopyRead);
    return client.mBytesPerFrame * frames;
}

void KXAFiledAudioData2::readToBuffer(void *destination, uint32_t *frames)
{
    impl_->read(static_cast<std::byte *>(destination), frames);
}

void KXAFiledAudioData2::readNative(int16_t *interleaved, uint32_t *frames)
{
    readToBuffer(interleaved, frames);
    const auto swapped = [](int16_t sample) {
        return static_cast<int16_t>(__builtin_bswap16(static_cast<uint16_t>(sample)));
    };
    if constexpr (std::endian::native == std::endian::little)
        std::transform(interleaved, interleaved + std::size_t{*frames} * 2, interleaved, swapped);
}

void KXAFiledAudioData2::seek(int64_t frame)
{
    impl_->seek(frame);
}

uint32_t KXAFiledAudioData2::prereadFrames(uint32_t frames)
{
    return impl_->preread(frames * bytesPerFrame(), sites::kPrereadFrames);
}

void KXAFiledAudioData2::readAhead(uint32_t frames)
{
    impl_->readAhead(frames);
}

void KXAFiledAudioData2::preread()
{
    prereadQueue()->sync([this] { _preread(); });
}

void KXAFiledAudioData2::_preread()
{
    impl_->preread(impl_->parts.bridge->length(), sites::kPrereadBridge);
}
