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
    tellFailure(true);
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
    const std::exception_ptr failure = loaded ? failureReadingAtLoad(*data) : nullptr;

    const kx::ControlGuard guard(engine_->control);
    if (stop.stop_requested() || fields_->refusedWhileExporting("load"))
        return false;
    // The render path never meets half of a change; the old source ends outside the queue, after the swap.
    tellFailure(); // of the old file
    const auto old = fields_->queue().sync([&] {
        auto previous = fields_->exchangeSource(std::move(source));
        engine_->position.beginFile(size);
        return previous;
    });
    if (const auto replaced = old ? old->audioData() : nullptr)
        engine_->underrunsBefore += replaced->underruns();
    if (failure)
        fields_->failure.set(failure);
    return loaded;
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
    tellFailure();
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
    const auto data = audioData();
    return engine_->underrunsBefore + engine_->chain.underruns() + (data ? data->underruns() : 0);
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
        tellFailure();
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

/// Tells a failure that the render path or a tick kept, once.
void KXAFilePlayer::tellFailure(bool ending) noexcept
{
    const std::exception_ptr failure = fields_->failure.exchange(nullptr);
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
