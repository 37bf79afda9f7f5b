#pragma once

#include "Apps/kxtool/Commands.h"
#include "KXFW/KXFW.h"

#include <memory>
#include <string>

namespace kxtool
{

/// The audio data of a file. Throws Failure where it cannot be read as audio.
std::shared_ptr<KXAFiledAudioData2> openAudioData(const std::string &file);

/// A player with the file loaded. Throws Failure where that cannot be.
std::shared_ptr<KXAFilePlayer> makePlayer(const std::string &file);

/// Gives the player a time-pitch effect where the options ask for one.
void applyEffect(KXAFilePlayer &player, const EffectOptions &options);

struct Range {
    int64_t start;
    int64_t end;
};

/// Throws UsageError for a start at or beyond the end, whatever the file.
void requireOrder(const RangeOptions &range);
/// The range of a file of `frames` frames. Throws Failure where it does not lie in the file.
Range rangeIn(const std::string &file, const RangeOptions &range, int64_t frames);

/// Throws UsageError where both names lead to the same file.
void requireDifferentFiles(const std::string &input, const std::string &output);

} // namespace kxtool
