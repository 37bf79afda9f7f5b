#include "Apps/kxtool/Commands.h"
#include "Apps/kxtool/Failure.h"
#include "kx/Device.h"

#include <iostream>

namespace kxtool
{

void showDevices()
{
    for (const kx::Device &device : kx::devices())
        std::cout << device.id << '\t' << printable(device.name) << (device.isDefaultInput ? "\tdefault input" : "")
                  << (device.isDefaultOutput ? "\tdefault output" : "") << (device.isVirtual ? "\tvirtual" : "")
                  << '\n';
}

} // namespace kxtool
