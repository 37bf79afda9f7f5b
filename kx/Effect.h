#pragma once

#include "kx/Visibility.h"

#include <cstdint>

namespace kx
{

/// An effect: what an application does to the sound on its way from the file to the ear, or to an export.
///
/// It pulls the sound that comes before it, and gives what comes out of it:
///
///     class Quieter : public kx::Effect
///     {
///         void process(Source &source, const Block &out) noexcept override
///         {
///             source.pull(out);
///             for (std::uint32_t channel = 0; channel < out.channelCount; ++channel)
///                 for (std::uint32_t i = 0; i < out.frames; ++i)
///                     out.channels[channel][i] *= 0.5F;
///         }
///     };
///
/// Most effects pull as many frames as they give, and have nothing else to say. One that changes the length pulls more
/// or fewer, and tells it by `drawRate` and `heldFrames`; one that is late tells it by `latency`. By these numbers the
/// player knows which frame is heard, and exports have the exact length and begin with the range's first frame.
///
/// `process` and `reset` are called by one thread at a time, mostly the render thread. There they must not allocate,
/// free, wait for a lock, log or throw: what an application sets while it plays goes over in atomics. Samples that come
/// out and are no numbers, or infinite, are silence, and the effect is reset. What rings on behind the end of the
/// sound, as echoes do, is not waited for.
///
/// An effect is in one place at a time: a player that has it keeps it from others.
class KX_EXPORT Effect
{
public:
    /// What an effect is made ready for.
    struct Format {
        double sampleRate = 44100;
        std::uint32_t channelCount = 2;
        std::uint32_t mostFrames = 512; ///< of the blocks that are asked for
    };

    /// Samples, a plane for each channel; full scale is -1 to 1. Borrowed.
    struct Block {
        float *const *channels; ///< `frames` samples each
        std::uint32_t channelCount;
        std::uint32_t frames;
    };

    /// The sound that comes before an effect.
    class KX_EXPORT Source
    {
    public:
        /// Fills `block`, of any length and of the prepared channel count; silence at the end. [render]
        virtual void pull(const Block &block) noexcept = 0;
        /// Counts the pulls that did not go on from the frames of the one before, because the position has been moved.
        /// Only an effect with `heldFrames` has to look: it lets go of what it holds. [render]
        [[nodiscard]] virtual std::uint32_t jumps() const noexcept = 0;

    protected:
        Source() noexcept = default;
        ~Source() = default;
        Source(const Source &) = default;
        Source &operator=(const Source &) = default;
    };

    virtual ~Effect(); ///< Never on the render thread. [any]
    Effect(const Effect &) = delete;
    Effect &operator=(const Effect &) = delete;

    /// Makes ready; comes once before a player has the effect, and is the place to allocate. What it throws is told as
    /// an error. Does nothing of itself. [any] [blocks]
    virtual void prepare(const Format &format);

    /// Fills `out`, of 1 to `mostFrames` frames, whose memory holds nothing yet. [render]
    virtual void process(Source &source, const Block &out) noexcept = 0;

    /// Forgets all sound that went in, not the settings. Does nothing of itself. [any] [render]
    virtual void reset() noexcept;

    /// Frames by which the sound comes out later than it went in, where as many are given as are pulled: the first ones
    /// after a reset are left out, and as many drawn more, so that nothing is heard late. 10 s at the most. 0 of
    /// itself. [any] [render]
    [[nodiscard]] virtual std::uint32_t latency() const noexcept;
    /// Source frames that the effect has pulled beyond those that it gave, when the block under way is done: a
    /// look-ahead of its own. 10 s at the most. 0 of itself. [any] [render]
    [[nodiscard]] virtual std::uint32_t heldFrames() const noexcept;
    /// Source frames pulled for each frame given, 1/64 to 64. 1 of itself. [any] [render]
    [[nodiscard]] virtual double drawRate() const noexcept;

protected:
    Effect() noexcept; ///< [any]
};

} // namespace kx
