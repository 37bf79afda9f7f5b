#pragma once

#include "KXFW/Audio/KXAFilePlayerDataSource.h"
#include "KXFW/Audio/KXAPlayerParam.h"
#include "KXFW/Platform/AudioUnits/AudioUnit.h"
#include "KXFW/Platform/Foundation/AudioTypes.h"
#include "KXFW/Platform/Foundation/Export.h"
#include "KXFW/Platform/Foundation/NSObject.h"

#include <cstdint>
#include <memory>

namespace kx
{
class PlayerFields;
class SerialQueue;
class TimerSource;
} // namespace kx

/// The effect modes.
enum : uint64_t {
    KXAEffectModeNone = 0, ///< output unit, converter, render callback
    KXAEffectModeAU = 1,   ///< output unit, converter, effect unit, converter, render callback
};

/// A frame of the loaded file and the time at which it is heard.
struct KXAHeardFrame {
    int64_t frame;     ///< of 44,100 Hz
    uint64_t hostTime; ///< nanoseconds of the monotonic clock
};

/// What a player consists of, with a getter and a setter each; setting one does nothing else. For the player itself and
/// for tests. All are read and written as a whole.
class KX_EXPORT KXAFilePlayerFields : public NSObject
{
public:
    ~KXAFilePlayerFields() override; ///< [any]

    // Getters and setters, one pair a field. A record and a queue that were replaced are kept as long as the player.
    // All [any].
    [[nodiscard]] std::shared_ptr<KXAPlayerParam> playerParam() const;
    void setPlayerParam(std::shared_ptr<KXAPlayerParam> param); ///< Not null.
    void setIsPlaying(bool isPlaying) noexcept;
    [[nodiscard]] std::shared_ptr<kx::SerialQueue> byteOffsetChangeQueue() const;
    void setByteOffsetChangeQueue(std::shared_ptr<kx::SerialQueue> queue); ///< Not null.
    [[nodiscard]] AudioUnit outputUnit() const noexcept;
    void setOutputUnit(AudioUnit unit) noexcept;
    [[nodiscard]] AudioUnit effectUnit() const noexcept;
    void setEffectUnit(AudioUnit unit) noexcept;
    [[nodiscard]] AudioUnit preConverterUnit() const noexcept;
    void setPreConverterUnit(AudioUnit unit) noexcept;
    [[nodiscard]] AudioUnit postConverterUnit() const noexcept;
    void setPostConverterUnit(AudioUnit unit) noexcept;
    [[nodiscard]] std::shared_ptr<kx::TimerSource> timer() const;
    void setTimer(std::shared_ptr<kx::TimerSource> timer);
    [[nodiscard]] std::shared_ptr<KXAFilePlayerDataSource> dataSource() const;
    /// Waits for a slice that is being read. [any] [queue: byteOffsetChangeQueue] [blocks]
    void setDataSource(std::shared_ptr<KXAFilePlayerDataSource> source);
    [[nodiscard]] AudioStreamBasicDescription inputDescription() const; ///< [any]

private:
    friend class KXAFilePlayer;
    KXAFilePlayerFields();

    const std::unique_ptr<kx::PlayerFields> fields_;
};
