#include "KXFW/Audio/Player/Transport.h"

#include "KXFW/Audio/StatusAssertion.h"
#include "KXFW/Platform/Foundation/NSException.h"

#include <exception>

namespace kx
{

namespace
{

constexpr uint32_t kFramesAtPlay = 44100; ///< read before the output starts: longer than a tick may be late
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

} // namespace

Transport::Transport(PlayerFields &fields, PlaybackPosition &position, RenderSource &source, UnitChain &chain)
    : fields_(fields), position_(position), source_(source), chain_(chain)
{
}

bool Transport::play()
{
    if (fields_.isPlaying)
        return true;
    if (fields_.refusedWhileExporting("play"))
        return false;
    settle();
    if (position_.rangeIsEmpty())
        return false;
    source_.takeEnd();
    chain_.mend();
    readAhead();
    beginRun();
    fields_.isPlaying = true; // what fails before this leaves the player stopped
    const OSStatus status = startOutput();
    chain_.setOutputIsWhole(status == noErr);
    _ASSERT_NOERR(status, "-[KXAFilePlayer play]");
    fields_.param().setOutputUnit(fields_.outputUnit);
    return true;
}

/// What the render thread will ask for first, from the position on, is decoded before it runs.
void Transport::readAhead()
{
    try {
        position_.jumpIntoRange();
        if (const auto data = fields_.audioData())
            data->readAhead(kFramesAtPlay);
    } catch (...) {
        fields_.failure.set(std::current_exception());
    }
}

/// What the chain and the frame that is heard start from. The output unit is stopped.
void Transport::beginRun()
{
    chain_.reset();
    position_.restart();
    source_.beginRun();
}

/// Without a thread or memory to be had the player is stopped.
OSStatus Transport::startOutput()
{
    const OSStatus status = AudioOutputUnitStart(fields_.outputUnit);
    if (status != kAudioUnitErr_FailedInitialization)
        return status;
    endPlaying();
    throw NSException(kPlayFailed, "no thread or memory is to be had");
}

void Transport::endPlaying() noexcept
{
    if (!fields_.isPlaying.exchange(false))
        return;
    AudioOutputUnitStop(fields_.outputUnit);
    source_.takeEnd();
    position_.stopped();
}

/// Where it was not playing it only waits for a run that has just stopped itself. An end that the last slice met is
/// none any more.
bool Transport::stopIfPlaying()
{
    if (!fields_.isPlaying.exchange(false)) {
        settle();
        return false;
    }
    const OSStatus status = AudioOutputUnitStop(fields_.outputUnit);
    source_.takeEnd();
    _ASSERT_NOERR(status, "-[KXAFilePlayer stop]");
    position_.stopped();
    return true;
}

bool Transport::cutForMove()
{
    const bool wasPlaying = stopIfPlaying();
    if (wasPlaying)
        position_.takeBackUnheard();
    return wasPlaying;
}

void Transport::cutForRebuild()
{
    if (!fields_.isPlaying)
        return settle();
    AudioOutputUnitStop(fields_.outputUnit);
    if (fields_.isPlaying)
        position_.takeBackUnheard();
}

/// Waits until no callback of a run that stopped itself is running.
void Transport::settle()
{
    if (const AudioUnit unit = fields_.outputUnit)
        AudioOutputUnitSettle(unit);
}

bool Transport::takeHeardEnd()
{
    return source_.hasEnded() && !fields_.isPlaying && !isSounding(fields_.outputUnit) && source_.takeEnd();
}

} // namespace kx
