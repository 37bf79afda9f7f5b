// The player object: making and ending it, loading, starting and stopping, and the pre-reading timer.
#include "KXFW/Audio/KXAFilePlayer.h"

#include "KXFW/Audio/CaughtException.h"
#include "KXFW/Audio/KXAHardwareManager.h"
#include "KXFW/Audio/KXAudioUtil.h"
#include "KXFW/Audio/Player/PlayerEngine.h"
#include "KXFW/Platform/AudioFiles/DiskDeadline.h"
#include "KXFW/Platform/Foundation/NSLog.h"

#include <chrono>
#include <utility>

namespace
{

constexpr uint32_t kFramesPerTick = 44100;
constexpr uint32_t kFramesAtLoad = 8192; ///< decoded before a load returns
constexpr std::chrono::nanoseconds kTimerInterval{100'000'000};
constexpr std::chrono::nanoseconds kTimerLeeway{500'000'000};
constexpr std::chrono::milliseconds kOpeningPatience{600}; ///< with a disk that does not answer
constexpr std::chrono::milliseconds kReadingPatience{250};
constexpr const char *kInputDescriptionKey = "inputDescription";

/// What the render thread will ask for first is decoded before it runs. Null, or what failed.
std::exception_ptr failureReadingAtLoad(KXAFiledAudioData2 &data) noexcept
{
    try {
        data.readAhead(kFramesAtLoad);
        return nullptr;
    } catch (...) {
        return std::current_exception();
    }
}

} // namespace

kx::PlayerEngine &kx::engineOf(const KXAFilePlayer &player) noexcept
{
    return *player.engine_;
}

std::shared_ptr<KXAFilePlayer> KXAFilePlayer::player()
{
    auto player = std::make_shared<KXAFilePlayer>(Key{});
    player->setUp();
    return player;
}

KXAFilePlayer::KXAFilePlayer(Key /*key*/) : engine_(std::make_unique<kx::PlayerEngine>(*this, *fields_)) {}

void KXAFilePlayer::setUp()
{
    addObserver(this, kInputDescriptionKey);
    setInputDescription(GetStandardDescription());
    setOutputDeviceID(KXAHardwareManager::defaultOutputDeviceID());
    _setUpHardwareListenerProc();
    if (outputDeviceID() != KXAHardwareManager::defaultOutputDeviceID()) // it changed before there was a listener
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
    engine_->follower.stopListening();
    fields_->isPlaying = false;
    removeObserver(this, kInputDescriptionKey);
    engine_->chain.endAll();
    tell(fields_->failure.exchange(nullptr), true);
}

void KXAFilePlayer::didChangeValueForKey(const std::string &key)
{
    if (key == kInputDescriptionKey)
        _handleInputDescriptionChange();
}

bool KXAFilePlayer::setInputDescription(const AudioStreamBasicDescription &description)
{
    const kx::ControlGuard guard(engine_->control);
    if (fields_->refusedWhileExporting("input format"))
        return false;
    const bool observed = isObserved(kInputDescriptionKey);
    if (observed)
        willChangeValueForKey(kInputDescriptionKey);
    fields_->inputDescription.set(description);
    if (observed)
        didChangeValueForKey(kInputDescriptionKey);
    return true;
}

std::shared_ptr<KXAFiledAudioData2> KXAFilePlayer::audioData() const
{
    return fields_->audioData();
}

bool KXAFilePlayer::loadFileAtURL(const std::filesystem::path &url, const std::stop_token &stop)
{
    if (fields_->refusedWhileExporting("load"))
        return false;
    const kx::DiskDeadline deadline(kOpeningPatience);
    return loadDataSource(KXAFilePlayerDataSource::dataSourceWithContentsOfURL(url, stop), stop);
}

bool KXAFilePlayer::loadFileAtURL(const std::filesystem::path &url, const std::stop_token &stop, OSStatus *why)
{
    *why = kAudioUnitErr_CannotDoInCurrentContext;
    if (isExporting())
        return false;
    const kx::DiskDeadline deadline(kOpeningPatience);
    const OSStatus taken = take(KXAFilePlayerDataSource::dataSourceWithContentsOfURL(url, stop, why), stop);
    if (*why == noErr)
        *why = taken;
    return *why == noErr;
}

bool KXAFilePlayer::loadDataSource(std::shared_ptr<KXAFilePlayerDataSource> source, const std::stop_token &stop)
{
    const bool hasData = source && source->audioData();
    const OSStatus taken = take(std::move(source), stop);
    if (taken == kAudioUnitErr_CannotDoInCurrentContext)
        NSLog("load refused: an export is running");
    return hasData && taken == noErr;
}

/// Makes `source` the one that is played, and null none; or says why all is as it was, the data of `source` too.
OSStatus KXAFilePlayer::take(std::shared_ptr<KXAFilePlayerDataSource> source, const std::stop_token &stop)
{
    const auto refusal = [&] {
        if (stop.stop_requested())
            return kAudioFileOpeningCancelledError;
        return isExporting() ? kAudioUnitErr_CannotDoInCurrentContext : noErr;
    };
    if (const OSStatus refused = refusal(); refused != noErr)
        return refused;
    const auto data = source ? source->audioData() : nullptr;
    if (data)
        data->setDiskPatience(kReadingPatience);
    const std::exception_ptr failure = data ? failureReadingAtLoad(*data) : nullptr;
    std::exception_ptr failureBefore;
    std::shared_ptr<KXAFilePlayerDataSource> old; // ends outside the lock and the queue
    {
        const kx::ControlGuard guard(engine_->control);
        if (const OSStatus refused = refusal(); refused != noErr)
            return refused;
        fields_->queue().sync([&] { // the render path never meets half of a change
            old = fields_->exchangeSource(std::move(source));
            engine_->position.beginFile(data ? data->bufferSize() : 0);
            engine_->source.takeEnd();
            failureBefore = fields_->failure.exchange(failure);
        });
    }
    tell(failureBefore); // whose block may wait for threads that use the player
    return noErr;
}

bool KXAFilePlayer::play()
{
    const kx::ControlGuard guard(engine_->control);
    return engine_->transport.play();
}

void KXAFilePlayer::stop()
{
    if (engine_->source.isRendering())
        return engine_->source.stopFromInside();
    {
        const kx::ControlGuard guard(engine_->control);
        fields_->isMoving = false;
        engine_->transport.stopIfPlaying();
        engine_->source.takeEnd();
    }
    tell(fields_->failure.exchange(nullptr));
}

bool KXAFilePlayer::isPlaying() const noexcept
{
    return fields_->isPlaying || fields_->isMoving;
}

bool KXAFilePlayer::isExporting() const noexcept
{
    return fields_->isExporting;
}

uint64_t KXAFilePlayer::underruns() const
{
    return engine_->source.underruns() + engine_->chain.underruns();
}

int64_t KXAFilePlayer::_readToBuffer(void *destination, int64_t frames)
{
    const kx::RenderSource::Read read = engine_->source.read(destination, frames);
    if (read.walk.ended || read.failed)
        stop();
    return read.walk.count;
}

void KXAFilePlayer::_timerFired(void * /*unused*/)
{
    const auto data = audioData();
    try {
        if (data)
            data->prereadFrames(kFramesPerTick);
    } catch (...) {
        if (data == audioData()) // else it concerns a file that has been replaced
            fields_->failure.set(std::current_exception());
    }
    if (!isExporting())
        tell(fields_->failure.exchange(nullptr));
    tellEnd();
}

void KXAFilePlayer::setPlaybackFailureBlock(PlaybackFailureBlock block)
{
    engine_->failureBlock.set(std::move(block));
}

void KXAFilePlayer::setPlaybackEndedBlock(PlayerBlock block)
{
    engine_->endedBlock.set(std::move(block));
}

/// Tells an end, once it has been heard. A lock that is held means that the end may be forgotten: the next tick sees.
void KXAFilePlayer::tellEnd()
{
    {
        const std::unique_lock guard(engine_->control, std::try_to_lock);
        if (!guard || !engine_->transport.takeHeardEnd())
            return;
    }
    if (const PlayerBlock block = engine_->endedBlock.get())
        block(*this);
}

/// Tells a failure that the render path or a tick kept; null is none.
void KXAFilePlayer::tell(const std::exception_ptr &failure, bool ending) noexcept
{
    if (!failure)
        return;
    try {
        const NSException exception = kx::exceptionOf(failure, "KXAFilePlayer playback failed");
        const PlaybackFailureBlock block = engine_->failureBlock.get();
        if (block && !(ending && block.takesPlayer()))
            block(*this, exception);
        else
            NSLog("exception:%@", exception.description());
    } catch (...) {
        NSLog("exception:%@", "a playback failure could not be told");
    }
}
