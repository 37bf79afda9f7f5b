#pragma once

#include "KXFW/Platform/Hardware/Backends/VirtualPort.h"
#include "KXFW/Platform/Hardware/HardwareBackend.h"
#include "KXFW/Platform/Hardware/VirtualHardware.h"

#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace kx
{

/// The virtual sound system of the process: the devices, the defaults and the open streams. Backends are views of it,
/// VirtualHardware its controls. All calls are [any].
class VirtualSystem
{
public:
    static VirtualSystem &instance(); ///< never destroyed: streams may play until the process ends

    [[nodiscard]] HardwareState state() const;
    void setDevices(const std::vector<VirtualDevice> &devices);
    void setDefaultOutput(const std::string &name);
    void setDefaultInput(const std::string &name);
    void setClock(VirtualClock clock);

    /// `handler` is called after each change, by the thread that makes it, until `unsubscribe` returns.
    uint64_t subscribe(std::function<void()> handler);
    void unsubscribe(uint64_t subscription); ///< [blocks]

    /// Null when there is no such output device.
    std::shared_ptr<VirtualPort> open(const std::string &uid, uint32_t sliceFrames);
    void close(const std::shared_ptr<VirtualPort> &port);
    [[nodiscard]] std::size_t openStreams() const;
    bool waitForStreams(std::size_t count, std::chrono::milliseconds timeout); ///< [blocks]

    uint64_t advance(uint32_t frames);                 ///< [blocks]
    void setCapture(VirtualHardware::Capture capture); ///< [blocks]
    /// Hands a written block to the capture, where there is one.
    void capture(const std::string &device, std::span<const std::byte> interleaved);

private:
    struct CaptureSlot;

    VirtualSystem();
    [[nodiscard]] bool isPresent(const std::string &uid, bool DeviceInfo::*direction) const;
    void setDefault(std::string HardwareState::*which, bool DeviceInfo::*direction, const std::string &name);
    void keepOrChooseDefault(std::string HardwareState::*which, bool DeviceInfo::*direction);
    void loseStreamsOfGoneDevices();
    void tell();

    mutable std::mutex lock_; ///< guards what follows, up to the capture
    std::condition_variable streamsChanged_;
    HardwareState state_;
    VirtualClock clock_ = VirtualClock::RealTime;
    std::vector<std::shared_ptr<VirtualPort>> ports_;

    std::mutex captureLock_;
    std::condition_variable captureEnded_;
    std::shared_ptr<CaptureSlot> capture_;

    std::mutex advanceLock_; ///< one advance at a time
    std::mutex tellLock_;    ///< guards the subscriptions, held while they are called
    std::map<uint64_t, std::function<void()>> subscriptions_;
    uint64_t nextSubscription_ = 1;
};

} // namespace kx
