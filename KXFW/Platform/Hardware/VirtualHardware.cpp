#include "KXFW/Platform/Hardware/VirtualHardware.h"

#include "KXFW/Platform/Hardware/Backends/VirtualSystem.h"

kx::VirtualHardware &kx::VirtualHardware::instance()
{
    static auto *const controls = new VirtualHardware;
    return *controls;
}

void kx::VirtualHardware::setDevices(const std::vector<VirtualDevice> &devices)
{
    VirtualSystem::instance().setDevices(devices);
}

void kx::VirtualHardware::setDefaultOutput(const std::string &name)
{
    VirtualSystem::instance().setDefaultOutput(name);
}

void kx::VirtualHardware::setDefaultInput(const std::string &name)
{
    VirtualSystem::instance().setDefaultInput(name);
}

void kx::VirtualHardware::setClock(VirtualClock clock)
{
    VirtualSystem::instance().setClock(clock);
}

void kx::VirtualHardware::setCapture(Capture capture)
{
    VirtualSystem::instance().setCapture(std::move(capture));
}

uint64_t kx::VirtualHardware::advance(uint32_t frames)
{
    return VirtualSystem::instance().advance(frames);
}

std::size_t kx::VirtualHardware::openStreams() const
{
    return VirtualSystem::instance().openStreams();
}

bool kx::VirtualHardware::waitForStreams(std::size_t count, std::chrono::milliseconds timeout)
{
    return VirtualSystem::instance().waitForStreams(count, timeout);
}
