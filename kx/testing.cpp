#include "kx/testing.h"

#include "KXFW/Platform/Hardware/VirtualHardware.h"
#include "kx/Device.h"
#include "kx/Error.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace kx::testing
{

namespace
{

std::vector<kx::VirtualDevice> below(const std::vector<VirtualDevice> &devices)
{
    std::vector<kx::VirtualDevice> result;
    result.reserve(devices.size());
    for (const VirtualDevice &each : devices)
        result.push_back({each.name, each.sampleRate, each.channels, each.bits, each.hasInput, each.hasOutput});
    return result;
}

VirtualHardware &hardware()
{
    return VirtualHardware::instance();
}

} // namespace

VirtualSound::VirtualSound(Clock clock, const std::vector<VirtualDevice> &devices)
{
    setenv("KXFW_AUDIO_BACKEND", "virtual", 1); // read at the first question for devices
    setClock(clock);
    setDevices({});
    if (!kx::devices().empty())
        throw Exception({ErrorCode::Busy, "another sound system is in use in this process", {}});
    setDevices(devices);
}

VirtualSound::~VirtualSound()
{
    hardware().setCapture(nullptr);
    setClock(Clock::RealTime);
    setDevices({}); // so that no default outlives the test
    setDevices({{"Virtual Output"}});
}

void VirtualSound::setDevices(const std::vector<VirtualDevice> &devices)
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
    return Frames(static_cast<std::int64_t>(hardware().advance(static_cast<std::uint32_t>(frames.count()))));
}

bool VirtualSound::waitForStreams(std::size_t count, std::chrono::milliseconds time)
{
    return hardware().waitForStreams(count, time);
}

} // namespace kx::testing
