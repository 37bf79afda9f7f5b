#pragma once

#include "KXFW/Platform/Hardware/Backends/AlsaLibrary.h"
#include "KXFW/Platform/Hardware/Backends/HeardClock.h"
#include "KXFW/Platform/Hardware/Backends/StreamEnd.h"
#include "KXFW/Platform/Hardware/HardwareBackend.h"

#include <atomic>
#include <memory>
#include <poll.h>
#include <vector>

namespace kx
{

/// A stream to one device of ALSA. The writer itself waits for the device and writes to it, so that no thread stands
/// between: ALSA is waited for by descriptors, among which is one of ours for what ends the wait. Nothing else uses the
/// device's handle, as not every plugin can be called by two threads.
class AlsaStream final : public OutputStream
{
public:
    /// Opens the device, at once or not at all where a card is in use. What stands behind a plugin may take its time.
    /// [blocks]
    static StatusOr<std::unique_ptr<AlsaStream>> open(const std::string &device, uint32_t sliceFrames);
    ~AlsaStream() override;

    [[nodiscard]] const AudioStreamBasicDescription &format() const noexcept override { return format_; }
    StatusOr<uint32_t> waitForRoom() override;
    OSStatus write(const void *interleaved, uint32_t frames) override;
    void drain() override;
    void halt() override;
    void interrupt() noexcept override { end_->interrupt(); }
    [[nodiscard]] uint64_t underruns() const noexcept override { return underruns_; }
    [[nodiscard]] uint32_t latencyFrames() const noexcept override;
    [[nodiscard]] uint64_t heardFrames() const noexcept override;

    /// For who knows that the device has gone. [any]
    [[nodiscard]] std::shared_ptr<StreamEnd> end() const noexcept { return end_; }

private:
    using Clock = std::chrono::steady_clock;
    using PCM = std::unique_ptr<snd_pcm_t, AlsaEnd<&AlsaLibrary::pcm_close>>;

    AlsaStream(PCM pcm, const AudioStreamBasicDescription &format, uint32_t sliceFrames, uint32_t bufferFrames);

    [[nodiscard]] uint32_t room();
    void recover(long error);
    void noteHeard() noexcept;
    void waitForDevice(Clock::time_point deadline);

    const PCM pcm_;
    const AudioStreamBasicDescription format_;
    const uint32_t sliceFrames_;
    const uint32_t bufferFrames_;
    const std::shared_ptr<StreamEnd> end_ = std::make_shared<StreamEnd>();
    std::vector<pollfd> descriptors_; ///< the device's, and behind them the end's
    mutable HeardClock clock_;
    std::atomic<uint64_t> written_ = 0;
    std::atomic<uint64_t> underruns_ = 0;
    bool isDraining_ = false;
};

} // namespace kx
