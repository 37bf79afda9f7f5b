#pragma once

#include "KXFW/Platform/AudioUnits/AudioUnit.h"
#include "KXFW/Platform/Foundation/Export.h"

#include <memory>

/// Plays at another rate (time-stretch) and at another pitch (pitch-shift), each without the other; both may change
/// while it plays, from any thread, and take effect with the next slice, without a click.
///
/// At rate 1 and pitch 0 from the start sound passes through bit for bit and at once. When it is first set otherwise it
/// draws a look-ahead of 7,000 source frames (0.16 s), and keeps that until it is reset. From then on a slice of n
/// frames draws n x rate frames, one more or less, and the first frame of the source is the first that is heard. Where
/// the input jumps the look-ahead is let go and drawn anew: the new place is heard with the next slice, cross-faded
/// from the old one over 1,024 frames divided by the pitch factor. A sample that is not a number is heard in the 256
/// frames around it at most.
class KX_EXPORT AVAudioUnitTimePitch
{
public:
    AVAudioUnitTimePitch();  ///< At rate 1 and pitch 0. Raises an exception when the unit cannot be made. [any]
    ~AVAudioUnitTimePitch(); ///< The unit lives on while a chain holds it. [any] [blocks]
    AVAudioUnitTimePitch(const AVAudioUnitTimePitch &) = delete;
    AVAudioUnitTimePitch &operator=(const AVAudioUnitTimePitch &) = delete;

    /// The unit, for KXAFilePlayer::setEffect; its parameters are kTimePitchParam_Rate and kTimePitchParam_Pitch. [any]
    [[nodiscard]] AudioUnit audioUnit() const noexcept;

    /// Source frames played for each frame of sound: 0.5 is half as fast. 0.25 to 4; another value gives a status and
    /// changes nothing. [any]
    OSStatus setRate(float rate);
    [[nodiscard]] float rate() const; ///< 1 at first. [any]
    /// Cents, hundredths of a semitone. -2400 to 2400; another value gives a status and changes nothing. [any]
    OSStatus setPitch(float cents);
    [[nodiscard]] float pitch() const; ///< 0 at first. [any]

private:
    struct Impl;
    const std::unique_ptr<Impl> impl_;
};
