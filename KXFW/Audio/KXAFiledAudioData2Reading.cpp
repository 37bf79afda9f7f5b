// The moving parts of the file-backed audio data: pre-reading into the ring, reading out of it, and seeking.
#include "KXFW/Audio/AudioDataSites.h"
#include "KXFW/Audio/KXAFiledAudioData2Impl.h"
#include "KXFW/Platform/Foundation/NSLog.h"
#include "KXFW/Platform/Foundation/Units.h"

#include <algorithm>
#include <cmath>

namespace sites = kx::audioDataSites;

namespace
{

constexpr uint32_t kFramesAfterSeek = 44100; ///< one second, decoded before a seek returns
constexpr uint32_t kFramesPerStep = 8192;    ///< how far a pre-read decodes between looks at who is waiting
constexpr int64_t kLastFrame = int64_t{1} << 42;

} // namespace

/// Runs `task` under the lock of whole transfers, and lets a pre-read that holds it know that somebody waits.
template <class Task> decltype(auto) KXAFiledAudioData2::Impl::exclusively(Task &&task)
{
    struct Waiting {
        std::atomic<int> &count;
        explicit Waiting(std::atomic<int> &waiting) : count(waiting) { ++count; }
        ~Waiting() { --count; }
    };
    {
        const Waiting waiting(waiting_);
        transferLock_.lock();
    }
    const std::lock_guard guard(transferLock_, std::adopt_lock);
    return std::forward<Task>(task)();
}

uint32_t KXAFiledAudioData2::Impl::preread(uint64_t bytesWanted, const kx::StatusSite &site)
{
    const kx::DiskDeadline deadline(diskPatience);
    const std::lock_guard guard(transferLock_);
    return decodeIntoRing(static_cast<uint32_t>(bytesWanted), Interruption::Allowed, site);
}

void KXAFiledAudioData2::Impl::readAhead(uint32_t frames)
{
    const kx::DiskDeadline deadline(diskPatience);
    const std::lock_guard guard(transferLock_);
    const uint64_t wanted = uint64_t{frames} * owner.bytesPerFrame();
    const uint64_t waiting = parts.ringQueue->sync([&] { return parts.ring->count(); });
    if (waiting < wanted)
        decodeIntoRing(static_cast<uint32_t>(wanted - waiting), Interruption::Allowed, sites::kPrereadFrames);
}

void KXAFiledAudioData2::Impl::read(std::byte *destination, uint32_t *frames)
{
    const uint32_t bytesPerFrame = owner.bytesPerFrame();
    if (bytesPerFrame == 0) {
        *frames = 0;
        return;
    }
    const uint32_t wanted = *frames * bytesPerFrame;
    auto got = static_cast<uint32_t>(takeFromRing(destination, wanted));
    if (got < wanted)
        got += takeOrDecode(destination + got, wanted - got, got / bytesPerFrame);
    *frames = got / bytesPerFrame;
}

/// What the ring has not, unless the disk is known to be held up.
uint32_t KXAFiledAudioData2::Impl::takeOrDecode(std::byte *destination, uint32_t bytes, uint32_t framesTaken)
{
    const kx::DiskDeadline deadline(diskPatience);
    const auto decode = [&] {
        // A pre-read may have stored the last frames while this thread waited.
        const auto got = static_cast<uint32_t>(takeFromRing(destination, bytes));
        if (got == bytes)
            return got;
        const uint32_t bytesPerFrame = owner.bytesPerFrame();
        const uint32_t decoded =
            bytesPerFrame * decodeIntoRing(bytes - got, Interruption::Refused, sites::kPrereadFrames,
                                           framesTaken + got / bytesPerFrame);
        if (decoded > 0 || isHeldUp())
            underruns.fetch_add(1, std::memory_order_relaxed);
        return got + static_cast<uint32_t>(takeFromRing(destination + got, std::min(decoded, bytes - got)));
    };
    if (!isHeldUp())
        return exclusively(decode);
    underruns.fetch_add(1, std::memory_order_relaxed);
    return 0;
}

/// Whether the file would give up what this thread asks of it at once.
bool KXAFiledAudioData2::Impl::isHeldUp() const noexcept
{
    return kx::DiskDeadline::current() && ExtAudioFileIsHeldUp(fileRef);
}

void KXAFiledAudioData2::Impl::seek(int64_t frame)
{
    const kx::DiskDeadline deadline(diskPatience);
    exclusively([&] {
        owner._ensureFileDataFormat();
        framesToDrop_ = parts.fileQueue->sync([&] { return positionFile(frame); });
        parts.ringQueue->sync([&] { parts.ring->clear(); });
        endedByFailure = false;
        heldFailure_ = noErr;
        decodeIntoRing(kFramesAfterSeek * owner.bytesPerFrame(), Interruption::Refused, sites::kPrereadFrames);
    });
}

uint64_t KXAFiledAudioData2::Impl::takeFromRing(void *destination, uint64_t bytes)
{
    return parts.ringQueue->syncKept([&] { return parts.ring->read(destination, bytes, true); });
}

/// One pre-read under the transfer lock: measure the room, decode into the bridge buffer, store in the ring. Returns
/// the frames stored. `framesTaken` is what the caller already has of its request.
uint32_t KXAFiledAudioData2::Impl::decodeIntoRing(uint32_t bytesWanted, Interruption interruption,
                                                  const kx::StatusSite &site, uint32_t framesTaken)
{
    const uint64_t space = parts.ringQueue->sync([&] { return parts.ring->space(); });
    const uint32_t bytesPerFrame = owner.bytesPerFrame();
    if (space == 0 || bytesPerFrame == 0 || isHeldUp())
        return 0;
    const auto bytes =
        static_cast<uint32_t>(std::min({parts.bridge->length(), space, static_cast<uint64_t>(bytesWanted)}));
    const uint32_t frames = parts.fileQueue->sync(
        [&] { return bytes == 0 ? 0 : readBridge(bytes / bytesPerFrame, interruption, site, framesTaken); });
    parts.ringQueue->sync([&] { parts.ring->write(parts.bridge->bytes(), uint64_t{frames} * bytesPerFrame); });
    return frames;
}

/// Decodes up to `frames` frames into the bridge buffer, in steps, and returns how many there were.
uint32_t KXAFiledAudioData2::Impl::readBridge(uint32_t frames, Interruption interruption, const kx::StatusSite &site,
                                              uint32_t framesTaken)
{
    const AudioStreamBasicDescription client = owner.format();
    uint32_t done = 0;
    if (const OSStatus held = heldFailure_.exchange(noErr); held != noErr)
        failReading(held, framesTaken, site);
    dropFrames(site);
    while (done < frames && framesToDrop_ == 0 && !endedByFailure) {
        uint32_t step = std::min(frames - done, kFramesPerStep);
        const uint32_t asked = step;
        std::byte *const room = parts.bridge->bytes() + uint64_t{done} * client.mBytesPerFrame;
        AudioBufferList list{1, {{client.mChannelsPerFrame, asked * client.mBytesPerFrame, room}}};
        if (const OSStatus status = ExtAudioFileRead(fileRef, &step, &list); status != noErr) {
            if (status != kAudioFileNotRespondingError)
                failReading(status, framesTaken + done, site);
            break;
        }
        done += step;
        if (step < asked || (interruption == Interruption::Allowed && waiting_ > 0))
            break;
    }
    return done;
}

/// The data ends here. Frames decoded before the failure are delivered first, and the failure is told after them.
void KXAFiledAudioData2::Impl::failReading(OSStatus status, uint32_t framesBefore, const kx::StatusSite &site)
{
    endedByFailure = true;
    if (framesBefore > 0)
        heldFailure_ = status;
    else
        reportReadFailure(status, site);
}

void KXAFiledAudioData2::Impl::reportReadFailure(OSStatus status, const kx::StatusSite &site)
{
    if (failureReported_.exchange(true))
        return;
    NSLog("err:%d", status);
    _ASSERT_NOERR(status, site);
}

/// The file service stands at file frames. Below the client rate several client frames share one: returns how many of
/// them come before the wanted one. On fileAccessQueue.
int64_t KXAFiledAudioData2::Impl::positionFile(int64_t frame)
{
    const double clientRate = owner.format().mSampleRate;
    const int64_t wholeClientRate = std::llround(clientRate);
    const int64_t wholeFileRate = std::llround(fileRate);
    if (frame < 0 || frame > kLastFrame || wholeClientRate < 1 || wholeFileRate < 1)
        _ASSERT_NOERR(kExtAudioFileError_InvalidSeek, sites::kSeek);
    const auto filePosition = static_cast<int64_t>(static_cast<double>(frame) * fileRate / clientRate);
    _ASSERT_NOERR(ExtAudioFileSeek(fileRef, filePosition), sites::kSeek);
    return frame - kx::scaledUp(filePosition, wholeClientRate, wholeFileRate);
}

/// Reads up to the sought frame, as far as the disk lets it.
void KXAFiledAudioData2::Impl::dropFrames(const kx::StatusSite &site)
{
    const AudioStreamBasicDescription client = owner.format();
    const auto most = static_cast<int64_t>(parts.bridge->length() / std::max(client.mBytesPerFrame, 1U));
    while (framesToDrop_ > 0 && !endedByFailure) {
        auto step = static_cast<uint32_t>(std::min(framesToDrop_, most));
        AudioBufferList list{1, {{client.mChannelsPerFrame, step * client.mBytesPerFrame, parts.bridge->bytes()}}};
        const OSStatus status = ExtAudioFileRead(fileRef, &step, &list);
        if (status != noErr && status != kAudioFileNotRespondingError)
            return failReading(status, 0, site);
        if (status != noErr || step == 0)
            return;
        framesToDrop_ -= step;
    }
}

void KXAFiledAudioData2::Impl::startOver()
{
    fileDataFormat = std::make_unique<AudioStreamBasicDescription>();
    fileRate = 0.0;
    fileLengthFrames = 0;
    parts.ringQueue->sync([this] { parts.ring->clear(); });
    endedByFailure = false;
    failureReported_ = false;
    heldFailure_ = noErr;
    framesToDrop_ = 0;
}

void KXAFiledAudioData2::Impl::fixParts()
{
    parts = {ringBuffer.get().get(), bridgeBufferData.get().get(), ringBufferQueue.get().get(),
             fileAccessQueue.get().get()};
}
