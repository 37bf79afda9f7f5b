#pragma once

#include "KXFW/Audio/Player/EffectClaim.h"
#include "KXFW/Audio/Player/PlaybackPosition.h"
#include "KXFW/Audio/Player/PlayerFields.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

namespace kx
{

/// A player's chain of units: makes the output unit, builds either chain into it, and knows what a failed set-up left
/// half built.
///
///     output <- converter <- render callback                            without effect
///     output <- converter <- effect <- converter <- render callback     with one
///
/// Each operation is for a stopped output unit, under the control lock, and raises the status assertion where a unit
/// refuses.
class UnitChain
{
public:
    /// `player` is what the render callback gets; it and the others are borrowed. [any]
    UnitChain(PlayerFields &fields, PlaybackPosition &position, void *player)
        : fields_(fields), position_(position), player_(player)
    {
    }

    void buildWithoutEffect();   ///< [any] [blocks]
    void buildWithEffect();      ///< Without a living effect unit, the other. [any] [blocks]
    void buildStoredMode();      ///< Modes other than 0 and 1 build nothing. [any] [blocks]
    void buildAny();             ///< With the effect as far as it can be used. [any] [blocks]
    void buildOutput();          ///< Makes the output unit anew. [any] [blocks]
    void mend();                 ///< What was left half built, at the volume of now. [any] [blocks]
    void takeInputDescription(); ///< Into the record and the first converter. [any] [blocks]
    void endAll() noexcept;      ///< But the effect unit. [any] [blocks]
    void reset();                ///< Makes the units forget their history. [any] [blocks]
    /// Puts the unit that is claimed (null for none) into the effect chain. [any] [blocks]
    void takeEffect(AudioUnit effect, std::shared_ptr<EffectClaim> claim);

    void setVolume(float volume);                                        ///< [any]
    [[nodiscard]] AudioStreamBasicDescription outputDescription() const; ///< [any]
    [[nodiscard]] uint64_t underruns() const;                            ///< Of all output units so far. [any]
    /// A start has failed, so that the next play makes the output unit anew; or it went well. [any]
    void setOutputIsWhole(bool isWhole) noexcept { outputIsWhole_ = isWhole; }
    void setKeepsVolume(bool keeps) noexcept { keepsVolume_ = keeps; }       ///< [any]
    [[nodiscard]] bool keepsVolume() const noexcept { return keepsVolume_; } ///< [any]

    static void end(AudioUnit *unit);   ///< Uninitialises and disposes of a unit, and clears the handle. [any] [blocks]
    static bool isLive(AudioUnit unit); ///< False for null and a unit that its owner has disposed of. [any]

private:
    void installRenderCallback(AudioUnit unit, const char *site);
    AudioUnit makeConverter(std::atomic<AudioUnit> &field, const char *site);
    void dispose(std::atomic<AudioUnit> &field);
    AudioUnit takeOutputUnit();
    void tuneOutput(AudioUnit unit, const char *site);

    PlayerFields &fields_;
    PlaybackPosition &position_;
    void *player_;
    std::shared_ptr<EffectClaim> claim_; ///< on the effect unit
    std::atomic<bool> keepsVolume_{false};
    mutable std::mutex underrunsLock_; ///< an output unit is either in its field or counted as gone
    uint64_t underrunsBefore_ = 0;     ///< of output units that are gone

    // What a failed set-up or start left, and which chain was built last, or was to be.
    bool outputIsWhole_ = false;
    bool chainIsWhole_ = false;
    bool hasEffectChain_ = false;
};

} // namespace kx
