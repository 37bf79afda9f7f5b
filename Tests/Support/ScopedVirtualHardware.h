#pragma once

#include "KXFW/Platform/Hardware/VirtualHardware.h"

#include <vector>

namespace kx::test
{

/// The virtual sound system as a test wants it; afterwards it is again as it was at the start of the process.
class ScopedVirtualHardware
{
public:
    explicit ScopedVirtualHardware(VirtualClock clock, const std::vector<VirtualDevice> &devices = {{"Virtual Output"}})
    {
        VirtualHardware::instance().setClock(clock);
        VirtualHardware::instance().setDevices(devices);
    }
    ~ScopedVirtualHardware()
    {
        VirtualHardware::instance().setCapture(nullptr);
        VirtualHardware::instance().setClock(VirtualClock::RealTime);
        VirtualHardware::instance().setDevices({}); // so that no default outlives the test
        VirtualHardware::instance().setDevices({{"Virtual Output"}});
    }
    ScopedVirtualHardware(const ScopedVirtualHardware &) = delete;
    ScopedVirtualHardware &operator=(const ScopedVirtualHardware &) = delete;

    VirtualHardware *operator->() const { return &VirtualHardware::instance(); }
};

} // namespace kx::test
