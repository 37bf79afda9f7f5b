/// @file
/// The sound-making half of a unit: a renderer, made for one set of formats, pulling from a frame source.
#pragma once

#include "KXFW/Platform/Foundation/AudioTypes.h"

#include <cstdint>

namespace kx
{

/// What a unit is made ready for.
struct UnitFormats {
    AudioStreamBasicDescription input;
    AudioStreamBasicDescription output;
    uint32_t maximumFrames; ///< the longest slice that is rendered
};

/// Where frames come from: a unit's input, or what stands in its place.
class FrameSource
{
public:
    /// Fills `list` with `frames` frames (at least 1). Each buffer has memory for them and keeps it; the byte sizes are
    /// set here. With a status other than noErr the content means nothing. [render]
    virtual OSStatus pull(const AudioTimeStamp &time, uint32_t frames, AudioBufferList &list) noexcept = 0;

    /// Counts the pulls that did not go on from the frames of the one before. [render]
    [[nodiscard]] virtual uint32_t discontinuities() const noexcept { return 0; }

    /// True when nothing more is to be pulled. [render]
    [[nodiscard]] virtual bool ended() const noexcept { return false; }

protected:
    ~FrameSource() = default;
};

/// Renders for a unit while its formats stay as they are; every buffer it needs is made with it. Used under the unit's
/// render lock.
class Renderer
{
public:
    virtual ~Renderer() = default;

    /// `frames` frames, 1 to maximumFrames, in the output format into `out`, whose buffers have memory for them. Pulls
    /// as many frames as that takes, be it none, fewer or more. No allocation, wait, log or throw. [render]
    virtual OSStatus render(FrameSource &input, const AudioTimeStamp &time, uint32_t frames,
                            AudioBufferList &out) noexcept = 0;

    /// Takes its place under the render lock. `before` rendered for the same unit in the same formats until now and is
    /// continued, but for the longest slice; null: it begins anew. [any]
    virtual void takePlace(Renderer *before) noexcept { static_cast<void>(before); }

    /// Forgets all input: the next render gives what the first one of a new renderer would. [any]
    virtual void reset() noexcept = 0;
};

} // namespace kx
