#include "Apps/kxtool/Commands.h"
#include "Apps/kxtool/Failure.h"
#include "Apps/kxtool/Input.h"
#include "Apps/kxtool/Progress.h"
#include "Apps/kxtool/Waiter.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <utility>

namespace kxtool
{

namespace
{

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/// What the player's failure block and the waiting thread share.
class PlaybackReport
{
public:
    explicit PlaybackReport(std::shared_ptr<Waiter> waiter) : waiter_(std::move(waiter)) {}

    void fail(const NSException &exception)
    {
        const std::lock_guard guard(lock_);
        reason_ = kx::reasonForUser(exception);
        waiter_->finish();
    }
    std::string reason()
    {
        const std::lock_guard guard(lock_);
        return reason_;
    }

private:
    std::mutex lock_;
    std::shared_ptr<Waiter> waiter_; ///< a failure may still be told while the command returns
    std::string reason_;
};

void chooseDevice(KXAFilePlayer &player, const PlayOptions &options)
{
    if (options.device) {
        const AudioObjectID device = KXAHardwareManager::deviceIDNamed(*options.device);
        if (device == kAudioObjectUnknown)
            throw Failure(options.file, "cannot be played: no device is named " + printable(*options.device));
        player.setOutputDeviceID(device);
        player.setFollowsDefaultOutput(false);
    } else if (player.outputDeviceID() == kAudioObjectUnknown) {
        throw Failure(options.file, "cannot be played: there is no output device");
    }
}

Range placePlayer(KXAFilePlayer &player, const PlayOptions &options)
{
    const int64_t frames = player.totalPackets();
    const Range range = rangeIn(options.file, options.range, frames);
    const int64_t position = options.position.value_or(range.start);
    rangeIn(options.file, {{}, position}, frames);
    player.setLoop(options.loop);
    player.setOffsetFramesPlay(position, range.start, range.end);
    return range;
}

/// How often sound was missing: the device ran dry, or the file was not read ahead in time.
uint64_t underrunsOf(const KXAFilePlayer &player)
{
    uint64_t ofDevice = 0;
    uint32_t size = sizeof ofDevice;
    AudioUnitGetProperty(player.outputUnit(), kAudioOutputUnitProperty_Underruns, kAudioUnitScope_Global, 0, &ofDevice,
                         &size);
    const auto data = player.audioData();
    return ofDevice + (data ? data->underruns() : 0);
}

std::string progressOf(const KXAFilePlayer &player, int64_t frame, int64_t frames)
{
    std::string text = clockTime(frame) + " / " + clockTime(frames) + "  frame " + std::to_string(frame);
    if (const uint64_t underruns = underrunsOf(player); underruns > 0)
        text += "  underruns: " + std::to_string(underruns);
    return text;
}

/// After the end of the data: waits until the device has played what it holds, or an interrupt.
void letDeviceFinish(KXAFilePlayer &player, Waiter &waiter)
{
    const AudioUnit unit = player.outputUnit();
    AudioOutputUnitSettle(unit);
    uint32_t frames = 0;
    uint32_t size = sizeof frames;
    if (AudioUnitGetProperty(unit, kAudioOutputUnitProperty_DeviceLatency, kAudioUnitScope_Global, 0, &frames, &size) ==
        noErr)
        waiter.wait(milliseconds(std::min(frames, 5U * 44100U) * 1000ULL / 44100 + 1));
}

/// Plays until an interrupt, the end of the data, the range's end without loop, or the time is over.
void playOn(KXAFilePlayer &player, const PlayOptions &options, const Range &range, Waiter &waiter)
{
    const int64_t frames = player.totalPackets();
    const auto begin = Clock::now();
    const auto left = [&] {
        const auto gone = std::chrono::duration<double>(Clock::now() - begin).count();
        return milliseconds(
            static_cast<int64_t>(std::clamp(1000 * (options.seconds.value_or(1e9) - gone) + 0.999, 0.0, 100.0)));
    };
    ProgressLine progress;
    player.play();
    for (milliseconds tick = left(); tick.count() > 0; tick = left()) {
        if (waiter.wait(tick) != Waiter::Event::Timeout)
            return player.stop();
        const int64_t frame = player.heardFrame().frame;
        progress.show(progressOf(player, frame, frames));
        if (!player.isPlaying()) {
            letDeviceFinish(player, waiter);
            return progress.show(progressOf(player, player.frameOffset(), frames));
        }
        if (!options.loop && frame >= range.end && range.end < frames)
            break;
    }
    player.stop();
}

} // namespace

void play(const PlayOptions &options)
{
    requireOrder(options.range);
    const auto waiter = std::make_shared<Waiter>();
    const auto report = std::make_shared<PlaybackReport>(waiter);
    {
        const auto player = makePlayer(options.file);
        applyEffect(*player, options.effect);
        chooseDevice(*player, options);
        player->setKeepsVolume(true);
        player->setVolume(options.volume.value_or(player->volume()));
        player->setPlaybackFailureBlock([report](const NSException &exception) { report->fail(exception); });
        playOn(*player, options, placePlayer(*player, options), *waiter);
    }
    if (const std::string reason = report->reason(); !reason.empty())
        throw Failure(options.file, reason);
}

} // namespace kxtool
