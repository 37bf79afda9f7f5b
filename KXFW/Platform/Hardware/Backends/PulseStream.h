#pragma once

#include "KXFW/Platform/Hardware/Backends/PulseDevices.h"
#include "KXFW/Platform/Hardware/Backends/PulseLoop.h"
#include "KXFW/Platform/Hardware/Backends/WakeSignal.h"
#include "KXFW/Platform/Hardware/HardwareBackend.h"

#include <atomic>
#include <optional>

namespace kx
{

/// A stream to one sink. It stays there: when the sink goes it is lost.
///
/// The writer waits on a signal of its own with a deadline, never for the server's acknowledgement, so that a server
/// that hangs holds nobody up; callbacks raise the signal.
class PulseStream final : public OutputStream
{
public:
    /// `context` is ready; the loop's lock is held.
    PulseStream(std::shared_ptr<PulseLoop> loop, pa_context *context, const std::string &sink,
                const PulseFormat &format, uint32_t sliceFrames);
    ~PulseStream() override;

    /// Waits for the server's consent: noErr, or why there is no stream. [blocks]
    OSStatus waitUntilReady();

    [[nodiscard]] const AudioStreamBasicDescription &format() const noexcept override { return format_.description; }
    StatusOr<uint32_t> waitForRoom() override;
    OSStatus write(const void *interleaved, uint32_t frames) override;
    void drain() override;
    void halt() override;
    void interrupt() noexcept override;
    [[nodiscard]] uint64_t underruns() const noexcept override { return underruns_; }
    [[nodiscard]] uint32_t latencyFrames() const noexcept override;
    [[nodiscard]] uint64_t heardFrames() const noexcept override;

private:
    bool awaitAnswer(pa_operation *operation, std::chrono::steady_clock::time_point deadline); ///< [blocks]
    using Stream = std::unique_ptr<pa_stream, FreeWith<&PulseLibrary::stream_unref>>;

    [[nodiscard]] pa_buffer_attr wantedBuffer() const noexcept;
    void setCallbacks();
    void clearCallbacks() noexcept;
    // With the loop's lock held:
    [[nodiscard]] uint32_t roomFrames() const noexcept;
    /// Null while the server has not told its timing, or is gone.
    [[nodiscard]] std::optional<std::chrono::microseconds> heldTime() const noexcept;
    void noteHeard() const noexcept;
    void heardState() noexcept;
    void heardUnderflow() noexcept;

    const std::shared_ptr<PulseLoop> loop_;
    const PulseFormat format_;
    const uint32_t sliceFrames_;
    mutable WakeSignal changed_;
    Stream stream_;                   ///< used under the loop's lock, as are the next; null where it was never made
    OSStatus loss_ = noErr;           ///< why the stream is lost
    uint32_t leastRoomFrames_;        ///< worth waking the writer for
    uint64_t written_ = 0;            ///< frames
    mutable uint64_t knownHeard_ = 0; ///< frames known to have been heard
    bool isHalted_ = false;
    bool hasWritten_ = false;
    bool isDraining_ = false;
    bool isDrained_ = false;
    std::atomic<bool> isInterrupted_ = false;
    std::atomic<uint64_t> underruns_ = 0;
};

} // namespace kx
