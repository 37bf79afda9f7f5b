// The player object: making and ending it, loading, starting and stopping, and the pre-reading timer.
#include "KXFW/Audio/KXAFilePlayer.h"

#include "KXFW/Audio/CaughtException.h"
#include "KXFW/Audio/KXAHardwareManager.h"
#include "KXFW/Audio/KXAudioUtil.h"
#include "KXFW/Audio/StatusAssertion.h"
#include "KXFW/Platform/Foundation/NSLog.h"

#include <algorithm>
#include <chrono>

namespace
{

constexpr uint32_t kFramesPerTick = 44100;
constexpr uint32_t kFramesAtLoad = 8192;  ///< decoded before a load returns
constexpr uint32_t kFramesAtPlay = 44100; ///< before the output starts: longer than a tick may be late
constexpr std::chrono::nanoseconds kTimerInterval{100'000'000};
constexpr std::chrono::nanoseconds kTimerLeeway{500'000'000};
constexpr std::chrono::milliseconds kOpeningPatience{600}; ///< with a disk that does not answer
constexpr std::chrono::milliseconds kReadingPatience{250};
constexpr const char *kInputDescriptionKey = "inputDescription";
constexpr const char *kPlayFailed = "KXAFilePlayer play failed";

/// Whether what was pulled out of the chain is still to be heard, as far as the device tells.
bool isSounding(AudioUnit output)
{
    uint32_t sounds = 0;
    uint32_t size = sizeof sounds;
    return AudioUnitGetProperty(output, kAudioOutputUnitProperty_IsSounding, kAudioUnitScope_Global, 0, &sounds,
                                &size) == noErr &&
           sounds != 0;
}

/// What the render thread will ask for first is decoded before it runs. Null, or what failed.
std::exception_ptr failureReadingAhead(KXAFiledAudioData2 &data, uint32_t frames) noexcept
{
    try {
        data.readAhead(frames);
        return nullptr;
    } catch (...) {
        return std::current_exception();
    }
}

/// The same from the position on, which a loop takes into its range.
std::exception_ptr failureReadingAhead(KXAFilePlayer &player) noexcept
{
    const auto data = player.audioData();
    const int64_t position = player.byteOffset();
    try {
        if (player.loop() && (position < player.startOffset() || position > player.endOffset()))
            player.setPositionInByte(position);
    } catch (...) {
        return std::current_exception();
    }
    return data ? failureReadingAhead(*data, kFramesAtPlay) : nullptr;
}

} // namespace

std::shared_ptr<KXAFilePlayer> KXAFilePlayer::player()
{
    auto player = std::make_shared<KXAFilePlayer>(Key{});
    player->setUp();
    return player;
}

KXAFilePlayer::KXAFilePlayer(Key /*key*/) {}

void KXAFilePlayer::setUp()
{
    addObserver(this, kInputDescriptionKey);
    setInputDescription(GetStandardDescription());
    setOutputDeviceID(KXAHardwareManager::defaultOutputDeviceID());
    _setUpHardwareListenerProc();
    if (mOutputDeviceID != KXAHardwareManager::defaultOutputDeviceID()) // it changed before there was a listener
        setOutputDeviceID(kAudioObjectUnknown);
    _setupOutputUnit();
    setEffectMode(KXAEffectModeNone);
    setByteOffsetChangeQueue(std::make_shared<kx::SerialQueue>("KXAFilePlayer.byteOffsetChangeQueue"));
    startTimer();
}

void KXAFilePlayer::startTimer()
{
    auto timer = std::make_shared<kx::TimerSource>([weak = weak_from_this()] {
        if (const auto player = weak.lock())
            player->_timerFired(nullptr);
    });
    setTimer(timer);
    timer->schedule(std::chrono::nanoseconds(0), kTimerInterval, kTimerLeeway);
    timer->resume();
}

KXAFilePlayer::~KXAFilePlayer()
{
    if (const auto running = timer())
        running->cancel();
    removeHardwareListeners();
    isPlaying_ = false;
    removeObserver(this, kInputDescriptionKey);
    for (auto *unit : {&outputUnit_, &preConverterUnit_, &postConverterUnit_})
        if (const AudioUnit handle = unit->exchange(nullptr))
            AudioComponentInstanceDispose(handle);
    reportPlaybackFailure(true);
}

void KXAFilePlayer::didChangeValueForKey(const std::string &key)
{
    if (key == kInputDescriptionKey)
        _handleInputDescriptionChange();
}

bool KXAFilePlayer::setInputDescription(const AudioStreamBasicDescription &description)
{
    const ControlGuard guard(controlLock_);
    if (refusedWhileExporting("input format"))
        return false;
    const bool observed = isObserved(kInputDescriptionKey);
    if (observed)
        willChangeValueForKey(kInputDescriptionKey);
    inputDescription_.set(description);
    if (observed)
        didChangeValueForKey(kInputDescriptionKey);
    return true;
}

std::shared_ptr<KXAFiledAudioData2> KXAFilePlayer::audioData() const
{
    const auto source = dataSource();
    return source ? source->audioData() : nullptr;
}

bool KXAFilePlayer::loadFileAtURL(const std::filesystem::path &url, const std::stop_token &stop)
{
    if (refusedWhileExporting("load"))
        return false;
    const kx::DiskDeadline deadline(kOpeningPatience);
    return loadDataSource(KXAFilePlayerDataSource::dataSourceWithContentsOfURL(url, stop), stop);
}

bool KXAFilePlayer::loadFileAtURL(const std::filesystem::path &url, const std::stop_token &stop, OSStatus *why)
{
    *why = kAudioUnitErr_CannotDoInCurrentContext;
    if (isExporting_)
        return false;
    const kx::DiskDeadline deadline(kOpeningPatience);
    auto source = KXAFilePlayerDataSource::dataSourceWithContentsOfURL(url, stop, why);
    const bool loaded = loadDataSource(std::move(source), stop);
    if (!loaded && *why == noErr)
        *why = stop.stop_requested() ? kAudioFileOpeningCancelledError : kAudioUnitErr_CannotDoInCurrentContext;
    return loaded;
}

bool KXAFilePlayer::loadDataSource(std::shared_ptr<KXAFilePlayerDataSource> source, const std::stop_token &stop)
{
    const auto data = source ? source->audioData() : nullptr;
    const bool loaded = data != nullptr;
    const int64_t size = loaded ? data->bufferSize() : 0;
    if (loaded)
        data->setDiskPatience(kReadingPatience);
    const std::exception_ptr failure = loaded ? failureReadingAhead(*data, kFramesAtLoad) : nullptr;

    const ControlGuard guard(controlLock_);
    if (stop.stop_requested() || refusedWhileExporting("load"))
        return false;
    // The render path never meets half of a change; the old source ends outside the queue, after the swap.
    reportPlaybackFailure(); // of the old file
    const auto old = byteOffsetChangeQueue()->sync([&] {
        auto previous = dataSource_.exchange(std::move(source));
        const auto param = playerParam();
        param->setEndOffset(size);
        param->setStartOffset(0);
        param->setByteOffset(0);
        seekIsDue_ = false;
        timeline_.clear(0);
        hasJumped_ = true;
        return previous;
    });
    if (const auto replaced = old ? old->audioData() : nullptr)
        underrunsBefore_ += replaced->underruns();
    if (failure)
        renderFailure_.set(failure);
    return loaded;
}

bool KXAFilePlayer::play()
{
    const ControlGuard guard(controlLock_);
    if (isPlaying_)
        return true;
    if (refusedWhileExporting("play"))
        return false;
    settle();
    if (rangeIsEmpty())
        return false;
    hasEnded_ = false;
    mendChain();
    if (const std::exception_ptr failure = failureReadingAhead(*this))
        renderFailure_.set(failure);
    beginRun();
    isPlaying_ = true; // what fails before this leaves the player stopped
    const OSStatus status = startOutput();
    outputIsWhole_ = status == noErr;
    _ASSERT_NOERR(status, "-[KXAFilePlayer play]");
    playerParam()->setOutputUnit(outputUnit_);
    return true;
}

/// What the chain and the frame that is heard start from. The output unit is stopped.
void KXAFilePlayer::beginRun()
{
    resetAUs();
    timeline_.restart(frameOffset());
    silentFrames_ = kNothingYet;
}

/// Without a thread or memory to be had the player is stopped.
OSStatus KXAFilePlayer::startOutput()
{
    const OSStatus status = AudioOutputUnitStart(outputUnit_);
    if (status != kAudioUnitErr_FailedInitialization)
        return status;
    endPlaying();
    throw NSException(kPlayFailed, "no thread or memory is to be had");
}

/// For an output unit that has stopped, or cannot go on. Under the control lock.
void KXAFilePlayer::endPlaying() noexcept
{
    if (!isPlaying_.exchange(false))
        return;
    AudioOutputUnitStop(outputUnit_);
    timeline_.stop(heardTime().mSampleTime);
}

void KXAFilePlayer::stop()
{
    if (onRenderThread())
        return stopFromRenderThread();
    {
        const ControlGuard guard(controlLock_);
        isMoving_ = false;
        stopIfPlaying();
        hasEnded_ = false;
    }
    reportPlaybackFailure();
}

/// True when it was playing; else it only waits for a run that has just stopped itself. Under the control lock.
bool KXAFilePlayer::stopIfPlaying()
{
    if (!isPlaying_.exchange(false)) {
        settle();
        return false;
    }
    _ASSERT_NOERR(AudioOutputUnitStop(outputUnit_), "-[KXAFilePlayer stop]");
    timeline_.stop(heardTime().mSampleTime);
    return true;
}

/// The run ends before the flag goes: who finds the flag down and settles, waits for this callback.
void KXAFilePlayer::stopFromRenderThread()
{
    if (!isPlaying_)
        return;
    const OSStatus status = AudioOutputUnitStop(outputUnit_);
    isPlaying_ = false;
    _ASSERT_NOERR(status, "-[KXAFilePlayer stop]");
}

void KXAFilePlayer::stopSilentlyFromRenderThread() noexcept
{
    if (!isPlaying_)
        return;
    AudioOutputUnitStop(outputUnit_);
    isPlaying_ = false;
}

/// For the callback of a run that has come to its end. Where this does not play, it is an export's.
void KXAFilePlayer::endFromRenderThread()
{
    if (!isPlaying_)
        return;
    hasEnded_ = true; // before the flag goes: a stop that finds it down forgets the end
    stop();
}

/// Tells an end, once it has been heard. A lock that is held means that the end may be forgotten: the next tick sees.
void KXAFilePlayer::tellEnd()
{
    if (!hasEnded_)
        return;
    {
        const std::unique_lock guard(controlLock_, std::try_to_lock);
        if (!guard || isPlaying_ || isSounding(outputUnit_) || !hasEnded_.exchange(false))
            return;
    }
    if (const PlayerBlock block = playbackEndedBlock_.get())
        block(*this);
}

uint64_t KXAFilePlayer::underruns() const
{
    uint64_t ofDevice = 0;
    uint32_t size = sizeof ofDevice;
    AudioUnitGetProperty(outputUnit_, kAudioOutputUnitProperty_Underruns, kAudioUnitScope_Global, 0, &ofDevice, &size);
    const auto data = audioData();
    return underrunsBefore_ + ofDevice + (data ? data->underruns() : 0);
}

/// Waits until no callback of a run that stopped itself is running. Under the control lock.
void KXAFilePlayer::settle()
{
    if (const AudioUnit unit = outputUnit_)
        AudioOutputUnitSettle(unit);
}

bool KXAFilePlayer::refusedWhileExporting(const char *what) const
{
    if (isExporting_)
        NSLog("%s refused: an export is running", what);
    return isExporting_;
}

bool KXAFilePlayer::rangeIsEmpty() const
{
    const auto data = audioData();
    const auto frame = data ? static_cast<int64_t>(data->format().mBytesPerFrame) : 0;
    if (frame == 0)
        return true;
    const int64_t end = std::min(endOffset(), data->bufferSize());
    return std::max<int64_t>(startOffset(), 0) / frame >= end / frame;
}

void KXAFilePlayer::_timerFired(void * /*unused*/)
{
    const auto data = audioData();
    try {
        if (data)
            data->prereadFrames(kFramesPerTick);
    } catch (...) {
        if (data == audioData()) // else it concerns a file that has been replaced
            renderFailure_.set(std::current_exception());
    }
    if (!isExporting_)
        reportPlaybackFailure();
    tellEnd();
}

void KXAFilePlayer::prv_raiseRenderFailure()
{
    if (const std::exception_ptr failure = renderFailure_.exchange(nullptr))
        std::rethrow_exception(failure);
}

/// Tells a failure that the render path or a tick kept, once.
void KXAFilePlayer::reportPlaybackFailure(bool ending) noexcept
{
    const std::exception_ptr failure = renderFailure_.exchange(nullptr);
    if (!failure)
        return;
    try {
        const NSException exception = kx::exceptionOf(failure, "KXAFilePlayer playback failed");
        if (const PlaybackFailureBlock block = playbackFailureBlock_.get(); block && !(ending && block.takesPlayer()))
            block(*this, exception);
        else
            NSLog("exception:%@", exception.description());
    } catch (...) {
        NSLog("exception:%@", "a playback failure could not be told");
    }
}
