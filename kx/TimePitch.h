#pragma once

#include "kx/Effect.h"
#include "kx/Error.h"

#include <memory>

namespace kx
{

/// Plays at another rate (time-stretch) and at another pitch (pitch-shift), each without the other; both may change
/// while it plays, from any thread, and take effect with the next block, without a click.
///
/// At rate 1 and pitch 0 from the start sound passes through bit for bit and at once. When it is first set otherwise it
/// draws a look-ahead of 7,000 source frames (0.16 s), and keeps that until it is reset. From then on n frames draw
/// n x rate frames, one more or less, and the first frame of the source is the first that is heard. After a jump the
/// new place is heard at once, cross-faded from the old one.
class KX_EXPORT TimePitch final : public Effect
{
public:
    TimePitch();           ///< At rate 1 and pitch 0. [any]
    ~TimePitch() override; ///< [any]

    /// Source frames played for each frame of sound, 0.25 to 4: 0.5 is half as fast. Another value is refused
    /// (InvalidArgument) and changes nothing. [any]
    Result<> setRate(double rate);
    [[nodiscard]] double rate() const noexcept; ///< 1 at first. [any]
    /// Cents, hundredths of a semitone, -2400 to 2400. Another value is refused (InvalidArgument) and changes nothing.
    /// [any]
    Result<> setPitch(double cents);
    [[nodiscard]] double pitch() const noexcept; ///< 0 at first. [any]

    void prepare(const Format &format) override;                      ///< Of two channels. [any] [blocks]
    void process(Source &source, const Block &out) noexcept override; ///< After `prepare`. [render]
    void reset() noexcept override;                                   ///< [any] [render]
    [[nodiscard]] std::uint32_t heldFrames() const noexcept override; ///< The look-ahead. [any] [render]
    [[nodiscard]] double drawRate() const noexcept override;          ///< The rate. [any] [render]

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace kx
