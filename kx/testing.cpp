#include "kx/testing.h"

#include "KXFW/Platform/Hardware/VirtualHardware.h"
#include "kx/Device.h"
#include "kx/Error.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace kx
{

namespace
{

std::vector<VirtualDevice> below(const std::vector<VirtualSound::Device> &devices)
{
    std::vector<VirtualDevice> result;
    result.reserve(devices.size());
    for (const VirtualSound::Device &each : devices)
        result.push_back({each.name, each.sampleRate, each.channels, each.bits, each.hasInput, each.hasOutput});
    return result;
}

VirtualHardware &hardware()
{
    return VirtualHardware::instance();
}

} // namespace

VirtualSound::VirtualSound(Clock clock, const std::vector<Device> &devices)
{
    setenv("KXFW_AUDIO_BACKEND", "virtual", 1); // read at the first question for devices
    setClock(clock);
    setDevices({});
    if (!kx::devices().empty())
        throw Exception({ErrorCode::Busy, "another sound system is in use in this process", {}});
    setDevices(devices);
}

VirtualSound::VirtualSound(Clock clock) : VirtualSound(clock, {{"Speaker"}}) {}

VirtualSound::~VirtualSound()
{
    hardware().setCapture(nullptr);
    setClock(Clock::RealTime);
    setDevices({}); // so that no default outlives the test
    setDevices({{"Virtual Output"}});
}

void VirtualSound::setDevices(const std::vector<Device> &devices)
{
    hardware().setDevices(below(devices));
}

void VirtualSound::setDefaultOutput(std::string_view name)
{
    hardware().setDefaultOutput(std::string(name));
}

void VirtualSound::setClock(Clock clock)
{
    hardware().setClock(static_cast<VirtualClock>(clock));
}

void VirtualSound::onTaken(Taken taken)
{
    hardware().setCapture(std::move(taken));
}

Frames VirtualSound::advance(Frames frames)
{
    const auto most = std::clamp<std::int64_t>(frames.count(), 0, INT32_MAX);
    return Frames(static_cast<std::int64_t>(hardware().advance(static_cast<std::uint32_t>(most))));
}

bool VirtualSound::waitForStreams(std::size_t count, std::chrono::milliseconds time)
{
    return hardware().waitForStreams(count, time);
}

} // namespace kx
