#pragma once

#include "KXFW/Platform/Foundation/Backoff.h"
#include "KXFW/Platform/Hardware/Backends/ChangeTeller.h"
#include "KXFW/Platform/Hardware/Backends/PulseDevices.h"
#include "KXFW/Platform/Hardware/Backends/PulseInquiry.h"
#include "KXFW/Platform/Hardware/Backends/PulseLoop.h"
#include "KXFW/Platform/Hardware/Backends/WakeSignal.h"
#include "KXFW/Platform/Hardware/HardwareBackend.h"

#include <chrono>
#include <mutex>
#include <optional>

namespace kx
{

/// The devices and streams of a PulseAudio or PipeWire server.
///
/// Connecting -> Connected (the server has described its devices) -> Waiting (it went: no devices) -> Connecting ...
/// All of that happens on the loop's thread, under the loop's lock; what others ask for is a copy under a lock of its
/// own, so nobody waits for the server. The change handler runs on a queue, under no lock of the library's.
class PulseBackend final : public HardwareBackend
{
public:
    /// Connects at once, and again for as long as it lives.
    explicit PulseBackend(std::shared_ptr<PulseLoop> loop);
    ~PulseBackend() override;

    /// Waits until the server has described its devices, unless it does not in time or nothing suggests that there is
    /// one. [blocks]
    void waitUntilAnswered(std::chrono::steady_clock::time_point deadline);

    [[nodiscard]] HardwareState state() const override;
    void setChangeHandler(std::function<void()> handler) override;
    StatusOr<std::unique_ptr<OutputStream>> openOutput(const std::string &uid, uint32_t sliceFrames) override;

private:
    using Context = std::unique_ptr<pa_context, FreeWith<&PulseLibrary::context_unref>>;

    // With the loop's lock held:
    void connect();
    void dropContext() noexcept;
    void heardState() noexcept;
    void ask();
    void reconnectLater();
    [[nodiscard]] std::chrono::milliseconds nextDelay() noexcept;
    void cancelTimer() noexcept;

    void take(PulseDevices devices);
    [[nodiscard]] std::optional<PulseFormat> formatOf(const std::string &uid) const;

    const std::shared_ptr<PulseLoop> loop_;
    const std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
    WakeSignal changed_;

    // Used under the loop's lock:
    Context context_;
    std::unique_ptr<PulseInquiry> inquiry_; ///< the one under way
    bool mustAskAgain_ = false;             ///< something changed while one was
    pa_time_event *timer_ = nullptr;        ///< until the next attempt to connect; belongs to context_
    /// Still below 2 s when the server was gone for 7.
    Backoff backoff_{std::chrono::milliseconds(500), std::chrono::milliseconds(5000), 4};
    uint64_t refusals_ = 0; ///< since the last answer
    bool hasAnswered_ = false;

    mutable std::mutex lock_; ///< guards devices_
    PulseDevices devices_;

    ChangeTeller teller_{"KXFW pulse"}; ///< goes first: its handler asks for the rest
};

} // namespace kx
