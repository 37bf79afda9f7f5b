#pragma once

#include "KXFW/Platform/AudioUnits/AudioUnit.h"
#include "KXFW/Platform/AudioUnits/Renderer.h"
#include "KXFW/Platform/Foundation/PriorityMutex.h"

#include <atomic>
#include <memory>

namespace kx
{

class Unit;

/// The input of a unit: nothing, a render callback, or a connection to another unit, which it keeps alive.
///
/// Changed and pulled under the unit's render lock. The source pointer is also guarded by the lock over all
/// connections, so that a walk up the chain needs no render lock.
class UnitInput final : public FrameSource
{
public:
    /// The format in which frames are pulled; those of a connected unit must come in it. [any]
    void setFormat(const AudioStreamBasicDescription &format) noexcept { format_ = format; }

    /// Each of these replaces what was there, and gives back the unit connected before, to be let go when no lock is
    /// held any more. `connectTo` gives false, and changes nothing, when `source` hangs on `owner`. [any]
    std::shared_ptr<Unit> setCallback(const AURenderCallbackStruct &callback);
    bool connectTo(std::shared_ptr<Unit> &source, const Unit &owner);

    /// True when `unit` is connected here, directly or through others. [any]
    [[nodiscard]] bool hangsOn(const Unit &unit) const;

    /// The unit that is connected, or null. [any] [render]
    [[nodiscard]] std::shared_ptr<Unit> source() const;

    /// Silence is not made here: a status says that `list` holds no sound. A callback that throws counts as one that
    /// fails; one that fills less than asked leaves the rest silent. [render]
    OSStatus pull(const AudioTimeStamp &time, uint32_t frames, AudioBufferList &list) noexcept override;
    [[nodiscard]] uint32_t discontinuities() const noexcept override { return discontinuities_; }

private:
    static PriorityMutex &connections();
    [[nodiscard]] bool hangsOnLocked(const Unit &unit) const noexcept;
    OSStatus pullSource(const AudioTimeStamp &time, uint32_t frames, AudioBufferList &list) noexcept;
    OSStatus call(const AudioTimeStamp &time, uint32_t frames, AudioBufferList &list) noexcept;

    AudioStreamBasicDescription format_{};
    AURenderCallbackStruct callback_{};
    std::shared_ptr<Unit> source_;
    std::atomic<uint32_t> discontinuities_{0};
};

} // namespace kx
