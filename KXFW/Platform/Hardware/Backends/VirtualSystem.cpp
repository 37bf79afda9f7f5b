#include "KXFW/Platform/Hardware/Backends/VirtualSystem.h"

#include "KXFW/Platform/Dispatch/LoggedTask.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"
#include "KXFW/Platform/Hardware/DeviceText.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace
{

using kx::DeviceInfo;
using kx::VirtualDevice;

/// How many captures the calling thread is in: from inside one, replacing it cannot wait for it to end.
thread_local int captureDepth = 0;

AudioStreamBasicDescription formatOf(const VirtualDevice &device)
{
    const double rate = std::isfinite(device.sampleRate)
                            ? std::clamp(device.sampleRate, kx::kMinimumSampleRate, kx::kMaximumSampleRate)
                            : kx::kCanonicalSampleRate;
    const uint32_t channels = std::clamp(device.channels, 1u, kx::kMaximumChannels);
    const uint32_t order = std::endian::native == std::endian::big ? uint32_t{kAudioFormatFlagIsBigEndian} : 0;
    if (device.bits == 32)
        return kx::interleaved(rate, channels, 32, kAudioFormatFlagIsFloat | order);
    return kx::interleaved(rate, channels, 16, kAudioFormatFlagIsSignedInteger | order);
}

/// Devices may share a name: which of them it is makes the identity.
std::string uidOf(const std::string &name, const std::vector<DeviceInfo> &earlier)
{
    const auto namesakes = std::ranges::count(earlier, name, &DeviceInfo::name);
    return "virtual." + std::to_string(namesakes + 1) + "." + name;
}

std::vector<DeviceInfo> describe(const std::vector<VirtualDevice> &devices)
{
    std::vector<DeviceInfo> infos;
    for (const VirtualDevice &device : devices) {
        const std::string name = kx::deviceText(device.name);
        infos.push_back({uidOf(name, infos), name, device.hasInput, device.hasOutput, true, formatOf(device)});
    }
    return infos;
}

} // namespace

struct kx::VirtualSystem::CaptureSlot {
    VirtualHardware::Capture capture;
    int running = 0; ///< guarded by captureLock_
};

kx::VirtualSystem &kx::VirtualSystem::instance()
{
    static auto *const system = new VirtualSystem;
    return *system;
}

kx::VirtualSystem::VirtualSystem()
{
    setDevices({VirtualDevice{.name = "Virtual Output"}});
}

kx::HardwareState kx::VirtualSystem::state() const
{
    const std::lock_guard guard(lock_);
    return state_;
}

void kx::VirtualSystem::setDevices(const std::vector<VirtualDevice> &devices)
{
    {
        const std::lock_guard guard(lock_);
        state_.devices = describe(devices);
        keepOrChooseDefault(&HardwareState::defaultOutput, &DeviceInfo::hasOutput);
        keepOrChooseDefault(&HardwareState::defaultInput, &DeviceInfo::hasInput);
        loseStreamsOfGoneDevices();
    }
    tell();
}

void kx::VirtualSystem::setDefaultOutput(const std::string &name)
{
    setDefault(&HardwareState::defaultOutput, &DeviceInfo::hasOutput, name);
}

void kx::VirtualSystem::setDefaultInput(const std::string &name)
{
    setDefault(&HardwareState::defaultInput, &DeviceInfo::hasInput, name);
}

void kx::VirtualSystem::setDefault(std::string HardwareState::*which, bool DeviceInfo::*direction,
                                   const std::string &name)
{
    {
        const std::lock_guard guard(lock_);
        const auto found = std::ranges::find_if(
            state_.devices, [&](const DeviceInfo &device) { return device.name == name && device.*direction; });
        state_.*which = found == state_.devices.end() ? std::string() : found->uid;
    }
    tell();
}

void kx::VirtualSystem::keepOrChooseDefault(std::string HardwareState::*which, bool DeviceInfo::*direction)
{
    if (isPresent(state_.*which, direction))
        return;
    const auto first = std::ranges::find(state_.devices, true, direction);
    state_.*which = first == state_.devices.end() ? std::string() : first->uid;
}

bool kx::VirtualSystem::isPresent(const std::string &uid, bool DeviceInfo::*direction) const
{
    return std::ranges::any_of(state_.devices,
                               [&](const DeviceInfo &device) { return device.uid == uid && device.*direction; });
}

void kx::VirtualSystem::loseStreamsOfGoneDevices()
{
    for (const auto &port : ports_)
        if (!isPresent(port->settings().uid, &DeviceInfo::hasOutput))
            port->lose();
}

void kx::VirtualSystem::setClock(VirtualClock clock)
{
    const std::lock_guard guard(lock_);
    clock_ = clock;
}

uint64_t kx::VirtualSystem::subscribe(std::function<void()> handler)
{
    const std::lock_guard guard(tellLock_);
    subscriptions_.emplace(nextSubscription_, std::move(handler));
    return nextSubscription_++;
}

void kx::VirtualSystem::unsubscribe(uint64_t subscription)
{
    const std::lock_guard guard(tellLock_);
    subscriptions_.erase(subscription);
}

void kx::VirtualSystem::tell()
{
    const std::lock_guard guard(tellLock_);
    for (const auto &[number, handler] : subscriptions_)
        handler();
}

std::shared_ptr<kx::VirtualPort> kx::VirtualSystem::open(const std::string &uid, uint32_t sliceFrames)
{
    const std::lock_guard guard(lock_);
    if (!isPresent(uid, &DeviceInfo::hasOutput))
        return nullptr;
    const DeviceInfo &device = *std::ranges::find(state_.devices, uid, &DeviceInfo::uid);
    auto port = std::make_shared<VirtualPort>(
        VirtualPortSettings{uid, device.name, device.format, std::max(sliceFrames, 1u), clock_});
    ports_.push_back(port);
    streamsChanged_.notify_all();
    return port;
}

void kx::VirtualSystem::close(const std::shared_ptr<VirtualPort> &port)
{
    port->interrupt();
    const std::lock_guard guard(lock_);
    std::erase(ports_, port);
    streamsChanged_.notify_all();
}

std::size_t kx::VirtualSystem::openStreams() const
{
    const std::lock_guard guard(lock_);
    return ports_.size();
}

bool kx::VirtualSystem::waitForStreams(std::size_t count, std::chrono::milliseconds timeout)
{
    std::unique_lock guard(lock_);
    return streamsChanged_.wait_for(guard, timeout, [&] { return ports_.size() == count; });
}

uint64_t kx::VirtualSystem::advance(uint32_t frames)
{
    const std::lock_guard oneAtATime(advanceLock_);
    std::vector<std::shared_ptr<VirtualPort>> waiting;
    {
        const std::lock_guard guard(lock_);
        std::ranges::copy_if(ports_, std::back_inserter(waiting),
                             [](const auto &port) { return port->settings().clock == VirtualClock::Manual; });
    }
    for (const auto &port : waiting)
        port->grant(frames);
    uint64_t taken = 0;
    for (const auto &port : waiting)
        taken += port->waitUntilTaken();
    return taken;
}

void kx::VirtualSystem::setCapture(VirtualHardware::Capture capture)
{
    auto slot = capture ? std::make_shared<CaptureSlot>(CaptureSlot{std::move(capture)}) : nullptr;
    std::unique_lock guard(captureLock_);
    capture_.swap(slot);
    if (slot && captureDepth == 0)
        captureEnded_.wait(guard, [&] { return slot->running == 0; });
}

void kx::VirtualSystem::capture(const std::string &device, std::span<const std::byte> interleaved)
{
    std::shared_ptr<CaptureSlot> slot;
    {
        const std::lock_guard guard(captureLock_);
        if (!capture_)
            return;
        slot = capture_;
        ++slot->running;
    }
    const auto call = [&] { slot->capture(device, interleaved); };
    ++captureDepth;
    runLogged("VirtualHardware", std::ref(call)); // by reference: the function object does not allocate
    --captureDepth;
    {
        const std::lock_guard guard(captureLock_);
        --slot->running;
    }
    captureEnded_.notify_all();
}
