#pragma once

#include "KXFW/Audio/KXAFilePlayerDataSource.h"
#include "KXFW/Audio/KXAPlayerParam.h"
#include "KXFW/Platform/AudioUnits/AudioUnit.h"
#include "KXFW/Platform/Dispatch/SerialQueue.h"
#include "KXFW/Platform/Dispatch/TimerSource.h"
#include "KXFW/Platform/Foundation/Guarded.h"
#include "KXFW/Platform/Foundation/NSObject.h"
#include "KXFW/Platform/Hardware/AudioObject.h"

#include <atomic>
#include <memory>

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
    // Getters and setters, one pair a field. All [any].
    [[nodiscard]] std::shared_ptr<KXAPlayerParam> playerParam() const { return playerParam_.get(); }
    void setPlayerParam(std::shared_ptr<KXAPlayerParam> param) { playerParam_.set(std::move(param)); } // not null
    void setIsPlaying(bool isPlaying) noexcept { isPlaying_ = isPlaying; }
    [[nodiscard]] std::shared_ptr<kx::SerialQueue> byteOffsetChangeQueue() const
    {
        return byteOffsetChangeQueue_.get();
    }
    void setByteOffsetChangeQueue(std::shared_ptr<kx::SerialQueue> queue)
    {
        byteOffsetChangeQueue_.set(std::move(queue));
    }
    [[nodiscard]] AudioUnit outputUnit() const noexcept { return outputUnit_; }
    void setOutputUnit(AudioUnit unit) noexcept { outputUnit_ = unit; }
    [[nodiscard]] AudioUnit effectUnit() const noexcept { return effectUnit_; }
    void setEffectUnit(AudioUnit unit) noexcept { effectUnit_ = unit; }
    [[nodiscard]] AudioUnit preConverterUnit() const noexcept { return preConverterUnit_; }
    void setPreConverterUnit(AudioUnit unit) noexcept { preConverterUnit_ = unit; }
    [[nodiscard]] AudioUnit postConverterUnit() const noexcept { return postConverterUnit_; }
    void setPostConverterUnit(AudioUnit unit) noexcept { postConverterUnit_ = unit; }
    [[nodiscard]] std::shared_ptr<kx::TimerSource> timer() const { return timer_.get(); }
    void setTimer(std::shared_ptr<kx::TimerSource> timer) { timer_.set(std::move(timer)); }
    [[nodiscard]] std::shared_ptr<KXAFilePlayerDataSource> dataSource() const { return dataSource_.get(); }
    void setDataSource(std::shared_ptr<KXAFilePlayerDataSource> source) { dataSource_.set(std::move(source)); }
    [[nodiscard]] AudioStreamBasicDescription inputDescription() const { return inputDescription_.get(); }

protected:
    KXAFilePlayerFields() = default;

    std::atomic<AudioObjectID> mOutputDeviceID{kAudioObjectUnknown};
    std::atomic<bool> isPlaying_{false};
    kx::Guarded<std::shared_ptr<KXAPlayerParam>> playerParam_{KXAPlayerParam::playerParam()};
    kx::Guarded<std::shared_ptr<kx::SerialQueue>> byteOffsetChangeQueue_;
    std::atomic<AudioUnit> outputUnit_{nullptr};
    std::atomic<AudioUnit> effectUnit_{nullptr};
    std::atomic<AudioUnit> preConverterUnit_{nullptr};
    std::atomic<AudioUnit> postConverterUnit_{nullptr};
    kx::Guarded<std::shared_ptr<kx::TimerSource>> timer_;
    kx::Guarded<std::shared_ptr<KXAFilePlayerDataSource>> dataSource_;
    kx::Guarded<AudioStreamBasicDescription> inputDescription_;

    // What a failed set-up or start left, and which chain was built last, or was to be; under the control lock.
    bool outputIsWhole_ = false;
    bool chainIsWhole_ = false;
    bool hasEffectChain_ = false;
    bool seekIsDue_ = false; ///< the data is not at the position; on byteOffsetChangeQueue
};
