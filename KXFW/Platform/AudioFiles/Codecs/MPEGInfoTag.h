/// @file
/// The tag frame that encoders put in front of MPEG layer III files: how many frames follow, and how much of the sound
/// is the encoder's own delay and padding.
#pragma once

#include "KXFW/Platform/AudioFiles/Codecs/MPEGFrameWalk.h"

#include <cstdint>
#include <optional>

namespace kx
{

struct MPEGInfoTag {
    std::optional<int64_t> frames; ///< that follow the tag frame, by its own account
    bool hasTrim;                  ///< whether delay and padding are stated
    int64_t delay;                 ///< samples a channel that the encoder put in front
    int64_t padding;               ///< and behind
};

/// The tag in this first frame; none if the frame holds sound.
std::optional<MPEGInfoTag> parseMPEGInfoTag(const MPEGFrameHeader &header, const uint8_t *frame) noexcept;

/// Which samples of the straight decode are the file's sound.
struct MPEGTrim {
    int64_t skip;   ///< decoded samples a channel to drop in front
    int64_t frames; ///< that follow: the length
};

/// The part to play of `frameCount` frames of sound. Where the tag's count is not that of the file, the file counts.
MPEGTrim trimOf(const std::optional<MPEGInfoTag> &tag, int64_t frameCount, int64_t samplesPerFrame) noexcept;

} // namespace kx
