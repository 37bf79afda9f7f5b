#include "Apps/kxtool/Input.h"

#include "Apps/kxtool/Failure.h"

#include <filesystem>

namespace kxtool
{

namespace
{

/// Opens and closes the file for the status alone: the classes behind tell a failure by a log line and a null.
void requireReadable(const std::string &file)
{
    ExtAudioFileRef opened = nullptr;
    if (const OSStatus status = ExtAudioFileOpenURL(file, &opened); status != noErr)
        throw Failure(file, kx::statusText(status));
    ExtAudioFileDispose(opened);
}

void requireInside(const std::string &file, int64_t frame, int64_t frames)
{
    if (frame > frames)
        throw Failure(file,
                      "frame " + std::to_string(frame) + " lies beyond its " + std::to_string(frames) + " frames");
}

} // namespace

std::shared_ptr<KXAFiledAudioData2> openAudioData(const std::string &file)
{
    requireReadable(file);
    auto data = KXAFiledAudioData2::audioDataWithContentsOfURL(file);
    if (!data)
        throw Failure(file, "cannot be read");
    return data;
}

std::shared_ptr<KXAFilePlayer> makePlayer(const std::string &file)
{
    requireReadable(file);
    auto player = KXAFilePlayer::player();
    if (!player->loadFileAtURL(file))
        throw Failure(file, "cannot be read");
    return player;
}

void applyEffect(KXAFilePlayer &player, const EffectOptions &options)
{
    if (!options.rate && !options.pitch)
        return;
    AVAudioUnitTimePitch effect; // its unit lives on in the player
    effect.setRate(options.rate.value_or(1));
    effect.setPitch(options.pitch.value_or(0));
    player.setEffect(effect.audioUnit());
    player.setEffectMode(KXAEffectModeAU);
}

void requireOrder(const RangeOptions &range)
{
    if (range.end && range.start.value_or(0) >= *range.end)
        throw UsageError("--start must lie before --end");
}

Range rangeIn(const std::string &file, const RangeOptions &range, int64_t frames)
{
    const Range result{range.start.value_or(0), range.end.value_or(frames)};
    requireInside(file, result.start, frames);
    requireInside(file, result.end, frames);
    if (range.start && result.start >= result.end)
        throw Failure(file, "frame " + std::to_string(result.start) + " is its end");
    return result;
}

void requireDifferentFiles(const std::string &input, const std::string &output)
{
    std::error_code error;
    if (std::filesystem::equivalent(input, output, error))
        throw UsageError(printable(output) + " is the input");
}

} // namespace kxtool
