#pragma once

#include <vector>

namespace kx::test
{

/// The samples of each channel.
using TestPlanes = std::vector<std::vector<float>>;

inline std::vector<float *> pointersTo(TestPlanes &planes)
{
    std::vector<float *> pointers;
    for (auto &plane : planes)
        pointers.push_back(plane.data());
    return pointers;
}

} // namespace kx::test
