#pragma once

#include <chrono>
#include <cstdint>

namespace kx
{

/// The play buffer of a device that takes frames at a steady rate from the first write on, as a reckoning of numbers:
/// it holds no samples and reads no clock. Not thread-safe.
class PacedBuffer
{
public:
    using Time = std::chrono::steady_clock::time_point;

    PacedBuffer(double sampleRate, uint32_t capacityFrames) : rate_(sampleRate), capacity_(capacityFrames) {}

    /// What the device has taken until `now`. A device that ran dry stands still until the next write.
    void advanceTo(Time now) noexcept;
    void write(uint32_t frames, Time now) noexcept;

    /// The data has ended: whatever is held has been heard, and running dry is no underrun.
    void finish() noexcept;

    [[nodiscard]] uint64_t heldFramesAt(Time now) const noexcept { return written_ - takenAt(now); }
    /// As of the last advance or write.
    [[nodiscard]] uint32_t roomFrames() const noexcept;
    /// When there will be room for `frames` frames (at most the capacity) if nothing is written meanwhile.
    [[nodiscard]] Time timeOfRoom(uint32_t frames) const noexcept;
    /// When the last frame will have been taken.
    [[nodiscard]] Time timeOfEnd() const noexcept { return timeTaken(written_); }
    /// How often the device ran dry.
    [[nodiscard]] uint64_t underruns() const noexcept { return underruns_; }

private:
    [[nodiscard]] uint64_t dueAt(Time now) const noexcept;
    [[nodiscard]] uint64_t takenAt(Time now) const noexcept;
    /// When frame number `frames` since the start will have been taken.
    [[nodiscard]] Time timeTaken(uint64_t frames) const noexcept;

    double rate_;
    uint32_t capacity_;
    bool isRunning_ = false;
    Time start_{};
    uint64_t written_ = 0; ///< frames since start_, as is the next
    uint64_t taken_ = 0;
    uint64_t underruns_ = 0;
};

} // namespace kx
