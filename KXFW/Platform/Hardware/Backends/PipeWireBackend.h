#pragma once

#include "KXFW/Platform/Foundation/Backoff.h"
#include "KXFW/Platform/Hardware/Backends/ChangeTeller.h"
#include "KXFW/Platform/Hardware/Backends/PipeWireConnection.h"
#include "KXFW/Platform/Hardware/Backends/WakeSignal.h"
#include "KXFW/Platform/Hardware/HardwareBackend.h"

#include <chrono>
#include <mutex>
#include <optional>

namespace kx
{

/// The devices and streams of a PipeWire server.
///
/// Waiting (no devices) -> connected (the server has described its devices) -> waiting (it went) -> ... All of that
/// happens on the loop's thread, under the loop's lock; what others ask for is a copy under a lock of its own, so
/// nobody waits for the server. The change handler runs on a queue, under no lock of the library's.
class PipeWireBackend final : public HardwareBackend
{
public:
    /// Connects at once, and again for as long as it lives.
    explicit PipeWireBackend(std::shared_ptr<PipeWireLoop> loop);
    ~PipeWireBackend() override;

    /// Waits until the server has described its devices, unless it does not in time or there is none. [blocks]
    void waitUntilAnswered(std::chrono::steady_clock::time_point deadline);

    [[nodiscard]] HardwareState state() const override;
    void setChangeHandler(std::function<void()> handler) override;
    StatusOr<std::unique_ptr<OutputStream>> openOutput(const std::string &uid, uint32_t sliceFrames) override;

private:
    // With the loop's lock held:
    void connect();
    void heardBreak();
    void connectAfter(std::chrono::milliseconds delay) noexcept;

    void take(PipeWireDevices devices);
    [[nodiscard]] std::optional<PipeWireFormat> formatOf(const std::string &uid) const;

    const std::shared_ptr<PipeWireLoop> loop_;
    WakeSignal changed_;

    // Used under the loop's lock:
    spa_source *timer_ = nullptr; ///< until the next attempt to connect
    std::unique_ptr<PipeWireConnection> connection_;
    /// Still below 2 s when the server was gone for 7.
    Backoff backoff_{std::chrono::milliseconds(500), std::chrono::milliseconds(5000), 4};
    bool hasAnswered_ = false;

    mutable std::mutex lock_; ///< guards devices_
    PipeWireDevices devices_;

    ChangeTeller teller_{"KXFW pipewire"}; ///< goes first: its handler asks for the rest
};

} // namespace kx
