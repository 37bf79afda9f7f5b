#pragma once

#include "KXFW/Platform/Foundation/AudioTypes.h"
#include "KXFW/Platform/Foundation/StatusOr.h"
#include "KXFW/Platform/Hardware/Backends/PacedBuffer.h"
#include "KXFW/Platform/Hardware/VirtualHardware.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>

namespace kx
{

struct VirtualPortSettings {
    std::string uid;
    std::string deviceName;
    AudioStreamBasicDescription format;
    uint32_t sliceFrames;
    VirtualClock clock;
};

/// The meeting place of a stream, which writes, and the virtual system, which lets it: shared by both, so that either
/// may go first. All calls are [any].
class VirtualPort
{
public:
    explicit VirtualPort(VirtualPortSettings settings);

    [[nodiscard]] const VirtualPortSettings &settings() const noexcept { return settings_; }

    /// As of OutputStream. [blocks]
    StatusOr<uint32_t> waitForRoom();
    enum class Fate {
        Heard,
        Cut, ///< the stream was interrupted
        Lost ///< the device has gone
    };
    /// What becomes of frames that are written now.
    [[nodiscard]] Fate fateOfWrite();
    /// The device has been given `frames` frames.
    void take(uint32_t frames);
    void drain(); ///< [blocks]
    void interrupt() noexcept;
    [[nodiscard]] uint64_t underruns() noexcept;
    [[nodiscard]] uint32_t latencyFrames() noexcept;
    [[nodiscard]] uint64_t heardFrames() noexcept;

    /// The device has gone.
    void lose();
    /// Manual clock: lets the stream take `frames` more.
    void grant(uint32_t frames);
    /// Waits until all that was granted was taken, or the stream ended, or gave nothing for a while: what was taken
    /// since the grant. What is left of it lapses. [blocks]
    uint64_t waitUntilTaken();

private:
    [[nodiscard]] uint32_t room(PacedBuffer::Time now);
    [[nodiscard]] bool hasEnded() const noexcept { return isLost_ || isInterrupted_; }

    const VirtualPortSettings settings_;
    std::mutex lock_; ///< guards what follows
    std::condition_variable changed_;
    PacedBuffer buffer_;  ///< real-time clock
    uint64_t credit_ = 0; ///< manual clock: frames granted and not yet taken
    uint64_t taken_ = 0;  ///< manual clock: frames since the last grant
    uint64_t given_ = 0;  ///< frames since the stream was opened
    bool isLost_ = false;
    bool isInterrupted_ = false;
};

} // namespace kx
