/// @file
/// How a sound system that calls for frames meets a thread that writes them.
#pragma once

#include "KXFW/Platform/Hardware/Backends/HeardClock.h"
#include "KXFW/Platform/Hardware/Backends/WriterWake.h"
#include "KXFW/Platform/Hardware/HardwareBackend.h"

#include <atomic>
#include <cstddef>
#include <span>
#include <vector>

namespace kx
{

/// A stream of a system that asks for frames by a callback: the writer fills a ring, the callback takes out of it.
///
///     render thread --write--> [ ring, some 40 ms ] --take--> callback, on the system's real-time thread
///
/// The chain is not pulled from the callback itself, though that would save a thread and the ring's time. The chain may
/// wait for a lock's holder, and decodes on an underrun; the callback's thread is one for all streams of the process,
/// and the whole graph of the server waits for it. So is a stream the same to its writer whatever drives it: ends,
/// losses and deadlines are the writer's alone. The ring holds what any other stream buffers, and no more than that.
///
/// Neither side locks. `written_` is the writer's, `taken_` the callback's; each reads the other's to know how much of
/// the ring is its own. A callback that finds less than it asks for gives silence for the rest and waits for a whole
/// portion before it goes on, so that running dry is one gap and not many.
class CallbackStream : public OutputStream
{
public:
    [[nodiscard]] const AudioStreamBasicDescription &format() const noexcept final { return format_; }
    StatusOr<uint32_t> waitForRoom() final;
    OSStatus write(const void *interleaved, uint32_t frames) final;
    void drain() final;
    /// Returns when the callback has come once more, and taken nothing: what it took before is on its way then.
    void halt() final;
    void interrupt() noexcept final;
    [[nodiscard]] uint64_t underruns() const noexcept final { return underruns_; }
    [[nodiscard]] uint32_t latencyFrames() const noexcept final;
    [[nodiscard]] uint64_t heardFrames() const noexcept final;

protected:
    using Clock = std::chrono::steady_clock;

    CallbackStream(const AudioStreamBasicDescription &format, uint32_t sliceFrames);

    /// The callback: fills `interleaved`, which is whole frames, with the next frames or silence. The first of them
    /// will be heard at `heardAt`, as far as the system tells. No lock, no allocation. One call at a time. [render]
    void take(std::span<std::byte> interleaved, Clock::time_point heardAt) noexcept;
    /// The stream is lost for good; the first reason stays. [any]
    void lose(OSStatus reason) noexcept;

private:
    [[nodiscard]] uint64_t heldFrames() const noexcept { return written_.load() - taken_.load(); }
    [[nodiscard]] bool hasEnded() const noexcept { return isInterrupted_ || loss_ != noErr; }
    [[nodiscard]] std::size_t takeable(uint32_t wanted) noexcept;
    void copyIn(const std::byte *frames, uint64_t at, std::size_t count) noexcept;
    void copyOut(std::byte *frames, uint64_t at, std::size_t count) const noexcept;

    const AudioStreamBasicDescription format_;
    const uint32_t sliceFrames_;
    const uint32_t capacity_; ///< frames in the ring
    std::vector<std::byte> ring_;
    WriterWake wake_;

    std::atomic<uint64_t> written_ = 0;
    std::atomic<uint64_t> taken_ = 0;
    std::atomic<uint32_t> target_;       ///< frames that the writer keeps in the ring; more where a callback wants many
    std::atomic<uint64_t> passages_ = 0; ///< into and out of the callback: odd while it runs
    std::atomic<uint64_t> underruns_ = 0;
    std::atomic<bool> isDraining_ = false;
    std::atomic<bool> isHalted_ = false;
    std::atomic<bool> isInterrupted_ = false;
    std::atomic<OSStatus> loss_ = noErr;
    bool isFlowing_ = false; ///< the callback's: it has frames, and had them the time before
    mutable HeardClock clock_;
};

} // namespace kx
