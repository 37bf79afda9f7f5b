#pragma once

#include "KXFW/Audio/KXAFilePlayerDataSource.h"
#include "KXFW/Audio/KXAPlayerParam.h"
#include "KXFW/Audio/Player/SharedSlot.h"
#include "KXFW/Platform/AudioUnits/AudioUnit.h"
#include "KXFW/Platform/Dispatch/SerialQueue.h"
#include "KXFW/Platform/Dispatch/TimerSource.h"
#include "KXFW/Platform/Foundation/Guarded.h"
#include "KXFW/Platform/Hardware/AudioObject.h"

#include <atomic>
#include <exception>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace kx
{

/// What the parts of a player share: what it consists of, and what it is doing.
class PlayerFields
{
public:
    // Once replaced, a record and a queue are kept as long as the player: both are small, and hardly ever replaced.
    [[nodiscard]] KXAPlayerParam &param() const noexcept { return *paramSlot_.now(); }             ///< [any] [render]
    [[nodiscard]] SerialQueue &queue() const noexcept { return *queueSlot_.now(); }                ///< [any] [render]
    [[nodiscard]] std::shared_ptr<KXAPlayerParam> sharedParam() const { return paramSlot_.get(); } ///< [any]
    [[nodiscard]] std::shared_ptr<SerialQueue> sharedQueue() const { return queueSlot_.get(); }    ///< [any]
    void replaceParam(std::shared_ptr<KXAPlayerParam> param) { keep(paramSlot_.exchange(std::move(param))); } ///< [any]
    void replaceQueue(std::shared_ptr<SerialQueue> queue) { keep(queueSlot_.exchange(std::move(queue))); }    ///< [any]

    /// For tasks on the queue. [any] [render] [queue: byteOffsetChangeQueue]
    [[nodiscard]] KXAFilePlayerDataSource *sourceNow() const noexcept { return source_.now(); }
    [[nodiscard]] std::shared_ptr<KXAFilePlayerDataSource> source() const { return source_.get(); } ///< [any]
    /// On the queue; what comes back may go when the task is over. [queue: byteOffsetChangeQueue]
    std::shared_ptr<KXAFilePlayerDataSource> exchangeSource(std::shared_ptr<KXAFilePlayerDataSource> source)
    {
        return source_.exchange(std::move(source));
    }
    void replaceSource(std::shared_ptr<KXAFilePlayerDataSource> source); ///< [any] [blocks]
    [[nodiscard]] std::shared_ptr<KXAFiledAudioData2> audioData() const; ///< Of the source, or null. [any]

    /// Logs a refusal where an export is running. [any]
    bool refusedWhileExporting(const char *what) const; // NOLINT(modernize-use-nodiscard): some only log

    std::atomic<AudioObjectID> device{kAudioObjectUnknown};
    std::atomic<AudioUnit> outputUnit{nullptr};
    std::atomic<AudioUnit> effectUnit{nullptr};
    std::atomic<AudioUnit> preConverterUnit{nullptr};
    std::atomic<AudioUnit> postConverterUnit{nullptr};
    Guarded<AudioStreamBasicDescription> inputDescription;
    Guarded<std::shared_ptr<TimerSource>> timer;
    std::atomic<bool> isPlaying{false};
    std::atomic<bool> isMoving{false}; ///< was playing and will again, once the output unit is rebuilt
    std::atomic<bool> isExporting{false};
    Guarded<std::exception_ptr> failure; ///< met while playing or exporting, told by others

private:
    void keep(std::shared_ptr<void> old);

    SharedSlot<KXAPlayerParam> paramSlot_{KXAPlayerParam::playerParam()};
    SharedSlot<SerialQueue> queueSlot_;
    SharedSlot<KXAFilePlayerDataSource> source_;
    std::mutex keptLock_;
    std::vector<std::shared_ptr<void>> kept_;
};

} // namespace kx
