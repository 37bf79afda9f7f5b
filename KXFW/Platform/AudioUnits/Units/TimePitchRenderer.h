#pragma once

#include "KXFW/Platform/AudioUnits/Renderer.h"
#include "KXFW/Platform/AudioUnits/TimePitchControl.h"
#include "KXFW/Platform/AudioUnits/Units/FixedFrames.h"
#include "KXFW/Platform/AudioUnits/Units/PlanarFifo.h"
#include "KXFW/Platform/AudioUnits/Units/TempoChanger.h"
#include "KXFW/Platform/Conversion/SincInterpolator.h"
#include "KXFW/Platform/Foundation/BufferList.h"

namespace kx
{

/// Makes the sound of a time-pitch unit:
///
///     input --(look-ahead)--> source_ --tempo--> changed_ --pitch--> output
///
/// The tempo is changed first, to rate / pitch factor, then the changed signal is read at the speed of the pitch
/// factor. At tempo 1 the changed signal is the source itself. Two places move with each output frame, in exact steps:
/// `heard_` in the source by the rate, `place_` in the changed signal by the pitch factor; the tempo changer keeps the
/// one where the other is.
///
/// Until it is first set to something else than rate 1 and pitch 0 the unit hands its input on. From then on it holds
/// kLookAhead source frames: a slice draws what `heard_` moves by, whatever the setting. Where the input jumps it lets
/// go of those, and draws as many from there on.
class TimePitchRenderer final : public Renderer
{
public:
    /// Borrows the control, whose setting it follows. Makes all memory. [any]
    TimePitchRenderer(TimePitchControl &control, uint32_t maximumFrames);

    OSStatus render(FrameSource &input, const AudioTimeStamp &time, uint32_t frames,
                    AudioBufferList &out) noexcept override;
    void takePlace(Renderer *before) noexcept override;
    void reset() noexcept override;

private:
    void begin() noexcept;
    void continueFrom(TimePitchRenderer &before) noexcept;
    OSStatus passThrough(FrameSource &input, const AudioTimeStamp &time, uint32_t frames,
                         AudioBufferList &out) noexcept;
    void beginToHold() noexcept;
    void turnTo(const TimePitchSetting &wanted) noexcept;
    [[nodiscard]] bool strays(const TempoLine &line) const noexcept;
    void jump() noexcept;
    void makeEnoughToFade() noexcept;
    void splice() noexcept;
    void fadeOutInHand() noexcept;
    void beginAtHeard() noexcept;
    void putOnWholeFrames() noexcept;
    OSStatus draw(FrameSource &input, const AudioTimeStamp &time, uint32_t frames) noexcept;
    void fill(uint32_t from, uint32_t frames, const AudioBufferList &out) noexcept;
    void makeChangedUpTo(int64_t end) noexcept;
    void makeMore(int64_t sourceEnd) noexcept;
    void continueSource() noexcept;
    void fadeIn(int64_t from) noexcept;
    void letGo() noexcept;

    TimePitchControl &control_;
    const uint32_t maximumFrames_;
    TimePitchSetting setting_; ///< in effect
    bool isHolding_ = false;
    bool isStraight_ = true; ///< the changed signal is the source
    FixedFrames heard_;      ///< the source frame that is played next
    FixedFrames place_;      ///< the changed frame that is played next
    uint64_t rate_ = 0;      ///< source frames an output frame, in 2^-32
    uint64_t speed_ = 0;     ///< changed frames an output frame, in 2^-32
    TempoLine line_;         ///< of the tempo in effect, through `place_` and `heard_` at the last change
    int64_t shift_ = 0;      ///< from a changed frame to its source frame, while straight

    PlanarFifo source_;
    PlanarFifo changed_;
    PlanarFifo old_; ///< the changed signal before a splice, which fades out from its first frame to its last
    TempoChanger tempo_;
    SincInterpolator interpolator_;
    BufferList pulled_; ///< pointers only
};

} // namespace kx
